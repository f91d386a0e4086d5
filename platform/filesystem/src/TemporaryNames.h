// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace filesystem {

/**
 * The names of the temporary files of one file:
 *
 *     .NAME.velmorand-RANDOM-CHECK
 *
 * NAME is the file's name, truncated between characters if the result would be too long for the system. RANDOM is 8
 * random hexadecimal digits. CHECK is the CRC-32 of the file's whole name, a "/" and RANDOM, in 8 hexadecimal digits.
 * The check distinguishes these names from names that people or other programs have chosen, and from those of temporary
 * files of other files.
 */
class TemporaryNames {
public:
    explicit TemporaryNames(std::string fileName);

    /** A new name; empty if the system cannot provide random bytes, with the reason in `errno`. */
    [[nodiscard]] std::string make() const;

    /** Whether a name is one of these names. */
    [[nodiscard]] bool include(std::string const& name) const;

private:
    [[nodiscard]] std::string with(std::string_view random) const;

    std::string _fileName;
    std::string _stem;
};

} // namespace filesystem
