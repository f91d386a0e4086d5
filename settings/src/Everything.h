// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <utils/properties/Register.h>

namespace velmorand {

/**
 * Registers a listener for all changes; it is called once for each.
 *
 * The register looks up listeners under a name and under each of its enclosing groups. The outermost of these keys is
 * the name's first level, or "/" if the name begins with "/". So the listener gets an entry under "/" and under every
 * first level that exists in any scope, and later under every new first level before it is created.
 *
 * Errors: `std::bad_alloc`; the listener is not registered then. Locks: the caller holds the settings' lock.
 */
void listenToEverything(utils::properties::_Register& settings,
                        utils::properties::_Register::Callback* listener);

/**
 * Ensures that listeners to everything are notified of a name that is about to be announced, even if its first level
 * does not exist in any scope.
 * Errors: `std::bad_alloc`. Locks: the caller holds the settings' lock.
 */
void expectAnnouncement(std::string const& name);

/** Removes such a listener. Locks: the caller holds the settings' lock. */
void stopListeningToEverything(utils::properties::_Register& settings,
                               utils::properties::_Register::Callback* listener);

} // namespace velmorand
