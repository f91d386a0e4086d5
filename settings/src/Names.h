// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace velmorand {

/** The clean form of a name: without leading, trailing and doubled "/". */
[[nodiscard]] std::string cleanName(std::string name);

/** A name in quotes, for messages. */
[[nodiscard]] std::string inQuotes(std::string_view name);

[[nodiscard]] bool isUtf8(std::string_view text);

/** Whether a clean name is valid for a property: UTF-8, not empty, and without a level "." or "..". */
[[nodiscard]] bool canBeName(std::string const& clean);

/** Why a name is not valid for a property, with the name; empty if it is valid. */
[[nodiscard]] std::string objectionToName(std::string const& name);

/**
 * The clean form of a name to write to. The result refers to `name` if that is clean already, as nearly always, and
 * otherwise to `storage`.
 * Errors: `utils::Exception` if the name is not valid for a property.
 */
[[nodiscard]] std::string const& propertyName(std::string const& name, std::string& storage);

/** The group of a clean name; empty for a name with one level. */
[[nodiscard]] std::string groupOf(std::string const& name);

/** Whether a clean name is in a group, at any depth. */
[[nodiscard]] bool isIn(std::string const& name, std::string const& group);

} // namespace velmorand
