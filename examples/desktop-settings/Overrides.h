// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <vector>

#include "Value.h"

namespace desktop {

/** What the user prefers to the administrator's values, by name. */
std::map<std::string, Value> const& overrides();

/** Settings to show to a person: those that are overridden, and a few that stay. */
std::vector<std::string> const& shownSettings();

/** A property of the running application only. */
inline constexpr char const* sessionProperty = "session/presentation-mode";

} // namespace desktop
