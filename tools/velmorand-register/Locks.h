// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Settings.h"
#include "Value.h"

namespace tool {

/** The property in a global register file that lists the administrator's locks, and its group. */
constexpr char const* lockListName = "velmorand/locked";
constexpr char const* lockListGroup = "velmorand";

/** The clean form of an entry in the list; empty if it is not a valid name. */
std::string entryName(std::string const& entry);

/** Why applications ignore the list or, for each entry that they ignore, why; empty if they ignore nothing. */
std::vector<std::string> objectionsToLocks(filesystem::direct::Kind kind, Reading const& reading);

/**
 * The list as it is stored; empty if it does not exist.
 * Errors: `Failure` if something else is stored under its name.
 */
std::vector<std::string> lockList(Settings const& settings);

/** The names that a list locks in applications: properties, and groups with everything in them. */
class Locks {
public:
    Locks() = default;

    /** A value that is not a list of strings locks nothing; an entry that is not a valid name is ignored. */
    explicit Locks(Settings const& global);
    explicit Locks(std::vector<std::string> const& list);

    [[nodiscard]] bool empty() const noexcept { return _entries.empty(); }

    /** The outermost entry that locks a clean name: the name, or a group around it. */
    [[nodiscard]] std::optional<std::string> entryFor(std::string const& name) const;

private:
    std::vector<std::string> _entries; ///< clean, with a "/" appended; sorted; none is a prefix of another
};

} // namespace tool
