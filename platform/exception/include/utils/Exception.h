// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <memory>
#include <string>

namespace utils {

/**
 * A failure that carries a human-readable message.
 *
 * Thrown by value. It derives from `std::exception`, so a handler for `std::exception` catches it.
 *
 * Threads: distinct objects are independent. Copies share their message, which never changes, so they may be read and
 * destroyed on different threads. Copying never throws.
 */
class __attribute__((visibility("default"))) Exception : public std::exception {
public:
    /** An exception without a message: `what()` is the empty string. Never throws. */
    Exception() noexcept;

    /**
     * An exception with a copy of a zero-terminated message; null counts as the empty message.
     * Errors: `std::bad_alloc` if the message cannot be copied.
     */
    explicit Exception(char const* message);

    /**
     * An exception with a copy of `message`.
     * Errors: `std::bad_alloc` if the message cannot be copied.
     */
    explicit Exception(std::string const& message);

    Exception(Exception const& other) noexcept;
    Exception& operator=(Exception const& other) noexcept;
    ~Exception() override;

    /**
     * The message, zero-terminated; empty if there is none. It belongs to the exception, and is valid as long as the
     * exception or a copy of it exists.
     */
    [[nodiscard]] char const* what() const noexcept override;

private:
    std::shared_ptr<std::string const> _message;
};

} // namespace utils
