// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <utils/properties/Register.h>

namespace velmorand {

/**
 * Calls `change`, which changes the global scope, and adds to `names` the properties whose value in force has changed
 * because they were locked or unlocked, and the overridden properties that were locked or unlocked, even if their value
 * is the same. Names that `change` itself has added may be added again. The register's lock is held.
 */
void noteLockChanges(utils::properties::_Register const& settings, std::vector<std::string>& names,
                     std::function<void()> const& change);

} // namespace velmorand
