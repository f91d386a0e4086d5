// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <QString>

namespace utils::properties {

/** Converts a name or path to the file system's string type. Errors: `Exception` for 2 GiB or more. */
[[nodiscard]] QString toQString(std::string const& utf8);

[[nodiscard]] std::string toUtf8(QString const& text);

/** Converts one of the register's fixed paths, which are ASCII. */
[[nodiscard]] QString fromLiteral(char const* path);

} // namespace utils::properties
