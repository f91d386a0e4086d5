// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <filesystem/Direct.h>
#include <utils/properties/Register.h>

/**
 * What the administrator has locked: in the global scope, the property `velmorand/locked` is a list of names. Each locks
 * the property of that name, and everything in the group of that name, against the user's scope. A list of another type
 * locks nothing, and neither does an entry that is not a name.
 *
 * The lock of the register is held in all of these.
 */
namespace velmorand {

class Locks {
public:
    Locks() = default;
    explicit Locks(std::vector<std::string> const& list);

    [[nodiscard]] bool empty() const noexcept { return _entries.empty(); }

    /** The outermost entry that locks a clean name: the name, or a group around it. */
    [[nodiscard]] std::optional<std::string> entryFor(std::string const& name) const;

    /** Why the user's value of a clean name cannot be set; empty if it is not locked. */
    [[nodiscard]] std::string objectionTo(std::string const& name) const;

    /** Clean, with a "/" after each; sorted, and none begins with another. */
    [[nodiscard]] std::vector<std::string> const& entries() const noexcept { return _entries; }

private:
    std::vector<std::string> _entries;
};

/** The locks of now; valid until the register changes. Looks for the list only if the register has changed. */
[[nodiscard]] Locks const& locksOf(utils::properties::_Register const& settings);

/** Whether a name, clean or not, is locked. */
[[nodiscard]] bool isLocked(utils::properties::_Register const& settings, std::string const& name);

/** Errors: `utils::Exception` if a clean name is locked: what failed, the name and the reason. */
void requireUnlocked(utils::properties::_Register const& settings, std::string const& name,
                     std::string const& failure);

/**
 * What stands under a name, clean or not: in the first of the user, the global and the temporary scope that has something
 * there; without the user scope if the name is locked.
 */
[[nodiscard]] filesystem::direct::Entry findInScopes(utils::properties::_Register const& settings,
                                                     std::string const& name);

} // namespace velmorand
