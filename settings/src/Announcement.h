// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <set>
#include <string>

#include <utils/properties/Register.h>

namespace velmorand {

/**
 * Notifies the listeners, except those of `sender`, after all changes have been made. The lock is held.
 * Errors: the first exception of a `Listener`, after all listeners have been notified. If a `_Register::Callback`
 * throws, or memory runs out, that exception at once; the names are then announced again with the next change.
 */
void announce(utils::properties::_Register& settings, void* sender, std::set<std::string> names);

} // namespace velmorand
