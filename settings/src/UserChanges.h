// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <string>

#include <utils/properties/Register.h>

#include "velmorand/Scope.h"

namespace velmorand {

/**
 * Changes in the user scope, by clean name: the new record of a property, or nothing to remove a property or group. If
 * a group is removed, there must be no other changes in it.
 */
using UserChanges = std::map<std::string, std::optional<std::string>>;

/**
 * Makes all changes, or none of them, and removes groups that become empty. Notifies no listener. The lock is held.
 * Errors: `utils::Exception` if a property cannot be created under its name; `std::bad_alloc`. Nothing has changed
 * then.
 */
void makeChanges(utils::properties::_Register& settings, UserChanges const& changes);

/**
 * Errors: `utils::Exception` if this clean name is a group in the scope, or one of its groups is a property. The lock
 * is held.
 */
void requireRoom(utils::properties::_Register const& settings, std::string const& name, RegisterScope scope);

} // namespace velmorand
