// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <string_view>

#include "utils/properties/Register.h"

namespace utils::properties {

/** Where readers look for a property: the user's choice hides the administrator's setting. */
constexpr std::array lookupOrder{SCOPE_USER, SCOPE_GLOBAL, SCOPE_TEMPORARY};

/** Where the existence tests look. The order makes no difference to them, but a derived class sees it. */
constexpr std::array existenceOrder{SCOPE_GLOBAL, SCOPE_USER, SCOPE_TEMPORARY};

constexpr bool isScope(RegisterScope scope) {
    return scope == SCOPE_GLOBAL || scope == SCOPE_USER || scope == SCOPE_TEMPORARY;
}

/** Errors: `Exception` for anything but the three scopes. */
inline void checkScope(RegisterScope scope) {
    if (!isScope(scope))
        throw Exception("Bad scope value.");
}

/** The first-level directory of a valid scope. */
constexpr std::string_view scopeDirectory(RegisterScope scope) {
    return scope == SCOPE_USER ? "user" : scope == SCOPE_TEMPORARY ? "temp" : "global";
}

} // namespace utils::properties
