// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <set>
#include <string>

#include <utils/properties/Register.h>

namespace velmorand {

/**
 * Notifies the listeners, except those of `sender`, of changes that are all in place. The lock is held.
 * Errors: what a listener throws; the names stay pending then, and are announced again with the next change.
 */
void announce(utils::properties::_Register& settings, void* sender, std::set<std::string> names);

} // namespace velmorand
