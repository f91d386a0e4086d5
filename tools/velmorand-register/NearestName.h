// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Declaration.h"

namespace tool {

/**
 * The declared name that a name was probably meant to be: the nearest one by characters inserted, removed, replaced
 * and swapped, the first of several. At most a third of the characters from where the groups differ may have to
 * change. Result: none if no name is as near as that.
 */
std::optional<std::string> nearestName(Declarations const& declarations, std::string_view name);

} // namespace tool
