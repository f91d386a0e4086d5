// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <utils/properties/Register.h>

namespace velmorand {

/**
 * Notifies the listeners, except those of `sender`, of changes that are all in place. The lock is held.
 * Errors: what a listener throws; all names stay pending then, and are announced with the next change.
 */
void announce(utils::properties::_Register& settings, void* sender, std::vector<std::string> const& names);

} // namespace velmorand
