// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "velmorand/Export.h"

/**
 * The settings that the program has declared: every `Property` that exists, in any module of the process.
 *
 * Locks: each function is safe from any thread. `declaredProperties` and `catalogue` take the settings' lock for one
 * property at a time, and call the program's checks while holding it; `resetDeclaredProperties` takes it for the whole
 * call. Destroying a `Property` waits until other threads have finished with it.
 *
 * Guide: docs/catalogue-format.md.
 */
namespace velmorand {

/** Describes a declared setting. Values are in their stored form, as JSON: `11.5`, `"light"`, `[1]`. */
struct DeclaredProperty {
    std::string name;
    std::string kind;       ///< "string", "number", "integer", "boolean", or the plural for a list of these
    std::string format;     ///< "whole" for whole numbers stored as text or numbers, "duration", or empty
    std::string resolution; ///< of a duration that counts whole numbers, such as `"1s"`; otherwise empty
    std::string fallback;   ///< empty if the program computes it, or if it cannot be stored
    std::string minimum;    ///< of an element; empty without a lower limit
    std::string maximum;    ///< of an element; empty without an upper limit
    std::vector<std::string> choices; ///< the only values of an element; empty if any is allowed
    std::string description;
    bool isSet = false;        ///< as `Property::isSet`
    bool isLocked = false;     ///< as `Property::isLocked`
    bool isOverridden = false; ///< as `Property::isOverridden`
    std::string problem;       ///< as `Property::problem`
};

/**
 * The declared settings, in byte order of their names. If a name is declared more than once, the result has its first
 * declaration.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::vector<DeclaredProperty> declaredProperties();

/**
 * Removes the user's values of all declared settings, and then notifies the listeners, except those of `sender`.
 * Errors: exceptions of listeners (`Listener.h`), with the values removed.
 */
VELMORAND_SETTINGS_EXPORT void resetDeclaredProperties(void* sender = nullptr);

/**
 * The declared settings as JSON, for the file `share/velmorand/declared/PROGRAM.json` of the program's package, which
 * `velmorand-register` reads; docs/catalogue-format.md describes it. The result does not depend on current values.
 * Settings with invalid names are left out, and so are fallbacks that cannot be stored.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::string catalogue(std::string const& program);

} // namespace velmorand
