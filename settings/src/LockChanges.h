// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <utils/properties/Register.h>

namespace velmorand {

/**
 * Makes a change of the global scope, and adds the names of which another value is in force then because a lock has come
 * or gone; those that `change` has noted itself may be among them. The register's lock is held.
 */
void noteLockChanges(utils::properties::_Register const& settings, std::vector<std::string>& names,
                     std::function<void()> const& change);

} // namespace velmorand
