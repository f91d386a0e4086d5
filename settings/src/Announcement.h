// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <set>
#include <string>

#include <utils/properties/Register.h>

namespace velmorand {

/**
 * Notifies the listeners, except those of `sender`, after all changes have been made. The lock is held.
 * Errors: those of listeners; the names then stay pending and are announced again with the next change.
 */
void announce(utils::properties::_Register& settings, void* sender, std::set<std::string> names);

} // namespace velmorand
