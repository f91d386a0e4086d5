// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Declaration.h"

namespace tool {

/**
 * The one of these names that a name was probably meant to be: the nearest one by characters inserted, removed, replaced
 * and swapped, the first of several. At most three characters may have to change, and at most a third of those from
 * where the groups differ. Result: none if no name is as near as that.
 */
std::optional<std::string> nearestName(DeclaredGroup const& group, std::string_view name);

} // namespace tool
