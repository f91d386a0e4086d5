// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <string>

#include <utils/properties/Register.h>

#include "velmorand/Scope.h"

namespace velmorand {

/**
 * Changes in the user scope, by clean name: the record of a property, or none to remove the property or group. There
 * must not be other changes in a group that is removed.
 */
using UserChanges = std::map<std::string, std::optional<std::string>>;

/**
 * Makes all changes or none, and removes groups that become empty. Notifies no listener. The lock is held.
 * Errors: `utils::Exception` if a property cannot have its name; `std::bad_alloc`. Nothing has changed then.
 */
void makeChanges(utils::properties::_Register& settings, UserChanges const& changes);

/** Errors: `utils::Exception` if the scope has no room for a property with this clean name. The lock is held. */
void requireRoom(utils::properties::_Register const& settings, std::string const& name, RegisterScope scope);

} // namespace velmorand
