// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Settings.h"
#include "Value.h"

namespace tool {

/** The property of a global register file that lists what the administrator has locked, and the group around it. */
constexpr char const* lockListName = "velmorand/locked";
constexpr char const* lockListGroup = "velmorand";

/** The clean name that an entry of the list stands for; empty if it is not a name. */
std::string entryName(std::string const& entry);

/** Why applications take something under that name for no list, or leave out an entry; empty if they do neither. */
std::string objectionToLocks(filesystem::direct::Kind kind, Reading const& reading);

/**
 * The list, as it is written.
 * Errors: `Failure` if there is something else under its name.
 */
std::vector<std::string> lockList(Settings const& settings);

/** What a list locks, for applications: properties, and groups with everything in them. */
class Locks {
public:
    Locks() = default;

    /** A list of another type locks nothing, and neither does an entry that is not a name. */
    explicit Locks(Settings const& global);
    explicit Locks(std::vector<std::string> const& list);

    [[nodiscard]] bool empty() const noexcept { return _entries.empty(); }

    /** The outermost entry that locks a clean name: the name, or a group around it. */
    [[nodiscard]] std::optional<std::string> entryFor(std::string const& name) const;

private:
    std::vector<std::string> _entries; ///< clean, with a "/" after each; sorted, and none begins with another
};

} // namespace tool
