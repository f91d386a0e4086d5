// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace filesystem {

/**
 * The names of the temporary files beside one file:
 *
 *     .NAME.velmorand-RANDOM-CHECK
 *
 * NAME is the file's name, cut between characters where the result would be too long for the system; RANDOM is 8
 * random hexadecimal digits; CHECK is the CRC-32 of the file's whole name, a "/" and RANDOM, in 8 hexadecimal
 * digits. So no name that a person or another program gives to a file is one of them, nor is the name of a
 * temporary file of another file.
 */
class TemporaryNames {
public:
    explicit TemporaryNames(std::string fileName);

    /** A new name; empty when the system has no random bytes, and `errno` says why. */
    [[nodiscard]] std::string make() const;

    [[nodiscard]] bool include(std::string const& name) const;

private:
    [[nodiscard]] std::string with(std::string_view random) const;

    std::string _fileName;
    std::string _stem;
};

} // namespace filesystem
