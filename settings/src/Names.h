// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace velmorand {

/** The clean form of a name: without leading, trailing and doubled "/". */
[[nodiscard]] std::string cleanName(std::string name);

/** A name in a message. */
[[nodiscard]] std::string inQuotes(std::string_view name);

[[nodiscard]] bool isUtf8(std::string_view text);

/** Whether a property can have a clean name: it is UTF-8, not empty, and no level is "." or "..". */
[[nodiscard]] bool canBeName(std::string const& clean);

/**
 * The clean form of a name that is to be written: a reference to `name` if that is clean, as it nearly always is,
 * otherwise to `storage`.
 * Errors: `utils::Exception` if no property can have the name.
 */
[[nodiscard]] std::string const& propertyName(std::string const& name, std::string& storage);

/** The group of a clean name; empty for a name with one level. */
[[nodiscard]] std::string groupOf(std::string const& name);

/** Whether a clean name is in a group, at any depth. */
[[nodiscard]] bool isIn(std::string const& name, std::string const& group);

} // namespace velmorand
