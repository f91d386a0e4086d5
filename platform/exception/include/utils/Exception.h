// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <memory>
#include <string>

namespace utils {

/**
 * A failure that carries a message for people.
 *
 * Thrown by value. It derives from `std::exception`, so a handler for that catches it as any other failure.
 *
 * Threads: distinct objects are independent; copies share their message, which never changes, so they may be
 * read and destroyed on different threads. Copying never throws.
 */
class __attribute__((visibility("default"))) Exception : public std::exception {
public:
    /** An exception without a message: `what()` is the empty string. Never throws. */
    Exception() noexcept;

    /**
     * An exception with a copy of a zero-terminated message; null is taken as the empty message.
     * Errors: `std::bad_alloc` when the copy cannot be made.
     */
    explicit Exception(char const* message);

    /**
     * An exception with a copy of `message`.
     * Errors: `std::bad_alloc` when the copy cannot be made.
     */
    explicit Exception(std::string const& message);

    Exception(Exception const& other) noexcept;
    Exception& operator=(Exception const& other) noexcept;
    ~Exception() override;

    /**
     * The message, UTF-8, zero-terminated. It belongs to the exception and lives as long as any copy of it.
     */
    [[nodiscard]] char const* what() const noexcept override;

private:
    std::shared_ptr<std::string const> _message;
};

} // namespace utils
