// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Declaration.h"

namespace tool {

/**
 * The declared name that `name` probably stands for: the nearest by edit distance, or the first of several.
 * The distance may be at most 3, and at most a third of the length of the longer name, not counting the groups that
 * both share.
 * Result: none if no declared name is that near.
 */
std::optional<std::string> nearestName(DeclaredGroup const& group, std::string_view name);

/** A message about a name: "not declared", and the declared name that it probably stands for, if there is one. */
std::string notDeclared(std::optional<std::string> const& nearest);

} // namespace tool
