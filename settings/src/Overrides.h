// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <filesystem/Direct.h>
#include <utils/properties/Register.h>

/**
 * Overrides: values that replace those in the scopes, in this process only. They are not in the register, so they are
 * never saved, and the register's own readers do not return them. The caller must hold the register's lock, except for
 * `putOverride`.
 */
namespace velmorand {

/** Whether a name, clean or not, has an override in force: the administrator's locks take precedence. */
[[nodiscard]] bool isOverridden(utils::properties::_Register const& settings, std::string const& name);

/** The clean names of all overrides, including those that are not in force. */
[[nodiscard]] std::vector<std::string> overriddenNames();

/**
 * The entry in force under a name, clean or not: its override or, without one, the entry in the scopes. Valid until
 * the override or the register changes.
 */
[[nodiscard]] filesystem::direct::Entry findInForce(utils::properties::_Register const& settings,
                                                    std::string const& name);

/** Overrides a name with a value of one of the eight kinds, as `Property::override` does. Takes the lock. */
template <class Kind>
void putOverride(std::string const& name, Kind const& value, void* sender);

} // namespace velmorand
