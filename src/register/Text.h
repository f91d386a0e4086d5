// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <QString>

namespace utils::properties {

/** A name or path in the file system's string type. Errors: `Exception` for 2 GiB or more. */
[[nodiscard]] QString toQString(std::string const& utf8);

[[nodiscard]] std::string toUtf8(QString const& text);

/** One of the register's own fixed paths: ASCII only. */
[[nodiscard]] QString fromLiteral(char const* path);

} // namespace utils::properties
