// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <QString>

namespace utils::properties {

/** A name or path as the file system takes it. Errors: `Exception` for 2 GiB and more. */
[[nodiscard]] QString toQString(std::string const& utf8);

[[nodiscard]] std::string toUtf8(QString const& text);

/** A fixed path of the register's own: ASCII only. */
[[nodiscard]] QString fromLiteral(char const* path);

} // namespace utils::properties
