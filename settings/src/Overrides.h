// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <filesystem/Direct.h>
#include <utils/properties/Register.h>

/**
 * The values that this process has put in place of those in the scopes. They are not in the register, so that they are
 * never saved, and its own readers do not see them. The register's lock is held in all of these but the last.
 */
namespace velmorand {

/** Whether a name, clean or not, has an override that is in force: the administrator's locks come first. */
[[nodiscard]] bool isOverridden(utils::properties::_Register const& settings, std::string const& name);

/** The clean names that have overrides, even if those are not in force. */
[[nodiscard]] std::vector<std::string> overriddenNames();

/** What is in force under a name, clean or not: its override, or what the scopes have. Valid until either changes. */
[[nodiscard]] filesystem::direct::Entry findInForce(utils::properties::_Register const& settings,
                                                    std::string const& name);

/**
 * Puts a value of one of the eight kinds in place of those in the scopes, as `Property::override` does. It takes the
 * lock.
 */
template <class Kind>
void putOverride(std::string const& name, Kind const& value, void* sender);

} // namespace velmorand
