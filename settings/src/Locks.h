// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <filesystem/Direct.h>
#include <utils/properties/Register.h>

/**
 * The administrator's locks: the property `velmorand/locked` in the global scope is a list of names. The user's scope
 * is ignored for the properties with these names, and for everything in the groups with these names. A value that is
 * not a list of strings locks nothing; an entry that is not a valid name is ignored.
 *
 * All functions require that the caller holds the register's lock.
 */
namespace velmorand {

class Locks {
public:
    Locks() = default;
    explicit Locks(std::vector<std::string> const& list);

    [[nodiscard]] bool empty() const noexcept { return _entries.empty(); }

    /** The outermost entry that locks a clean name: the name, or a group around it. */
    [[nodiscard]] std::optional<std::string> entryFor(std::string const& name) const;

    /** Why a clean name cannot be set in the user's scope; empty if it is not locked. */
    [[nodiscard]] std::string objectionTo(std::string const& name) const;

    /** Clean names with a "/" appended; sorted, and none is a prefix of another. */
    [[nodiscard]] std::vector<std::string> const& entries() const noexcept { return _entries; }

private:
    std::vector<std::string> _entries;
};

/**
 * The current locks; valid until the register changes. Reads the list only if the register has changed since the last
 * call.
 */
[[nodiscard]] Locks const& locksOf(utils::properties::_Register const& settings);

/** Whether a name, clean or not, is locked. */
[[nodiscard]] bool isLocked(utils::properties::_Register const& settings, std::string const& name);

/** Errors: `utils::Exception` if a clean name is locked. The message is `failure`, the name and the reason. */
void requireUnlocked(utils::properties::_Register const& settings, std::string const& name,
                     std::string const& failure);

/**
 * The entry under a name, clean or not, in the first of the user, the global and the temporary scope that has one. The
 * user scope is skipped if the name is locked.
 */
[[nodiscard]] filesystem::direct::Entry findInScopes(utils::properties::_Register const& settings,
                                                     std::string const& name);

} // namespace velmorand
