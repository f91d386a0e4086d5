// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <utils/properties/Register.h>

namespace velmorand {

/**
 * Registers a listener for all changes, each of which it hears once.
 *
 * The register looks for listeners under the keys of a name; the last of them is the name's first level, or "/" if the
 * name begins with one. So the listener gets an entry under "/" and under every first level that any scope has, and, as
 * long as it is registered, under every new one before it comes.
 *
 * Errors: `std::bad_alloc`; it is not registered then. Locks: only with the settings' lock held.
 */
void listenToEverything(utils::properties::_Register& settings,
                        utils::properties::_Register::Callback* listener);

/**
 * Makes sure that such listeners hear of a name that is about to be announced, even if its first level is in no scope.
 * Errors: `std::bad_alloc`. Locks: only with the settings' lock held.
 */
void expectAnnouncement(std::string const& name);

/** Removes all entries of such a listener. Locks: only with the settings' lock held. */
void stopListeningToEverything(utils::properties::_Register& settings,
                               utils::properties::_Register::Callback* listener);

} // namespace velmorand
