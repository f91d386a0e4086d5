// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <string>

#include <utils/properties/Register.h>

#include "velmorand/Scope.h"

namespace velmorand {

/**
 * Changes in the user scope, by clean name: the record of a property, or nothing to remove the property or group. Nothing
 * in a group that is removed may be changed as well.
 */
using UserChanges = std::map<std::string, std::optional<std::string>>;

/**
 * Makes changes, all of them or none, and removes the groups that become empty. No listener is notified. The lock is
 * held.
 * Errors: `utils::Exception` if a property cannot have its name; `std::bad_alloc`. Nothing has changed then.
 */
void makeChanges(utils::properties::_Register& settings, UserChanges const& changes);

/** Errors: `utils::Exception` if something in the scope keeps a clean name from being a property. The lock is held. */
void requireRoom(utils::properties::_Register const& settings, std::string const& name, RegisterScope scope);

} // namespace velmorand
