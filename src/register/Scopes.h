// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <string_view>

#include "utils/properties/Register.h"

namespace utils::properties {

/** The order in which readers search the scopes: the user's value takes precedence over the administrator's. */
constexpr std::array lookupOrder{SCOPE_USER, SCOPE_GLOBAL, SCOPE_TEMPORARY};

/** The order of the existence tests. Does not affect their result, but can be observed by derived classes. */
constexpr std::array existenceOrder{SCOPE_GLOBAL, SCOPE_USER, SCOPE_TEMPORARY};

constexpr bool isScope(RegisterScope scope) {
    return scope == SCOPE_GLOBAL || scope == SCOPE_USER || scope == SCOPE_TEMPORARY;
}

/** Errors: `Exception` if `scope` is not one of the three scopes. */
inline void checkScope(RegisterScope scope) {
    if (!isScope(scope))
        throw Exception("Bad scope value.");
}

/** The first-level directory of a valid scope. */
constexpr std::string_view scopeDirectory(RegisterScope scope) {
    return scope == SCOPE_USER ? "user" : scope == SCOPE_TEMPORARY ? "temp" : "global";
}

/** The first-level directories of the scopes, in the order in which readers search them. */
inline constexpr std::array lookupDirectories{scopeDirectory(lookupOrder[0]), scopeDirectory(lookupOrder[1]),
                                              scopeDirectory(lookupOrder[2])};

} // namespace utils::properties
