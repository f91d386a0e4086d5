// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <string>

#include "Locks.h"
#include "Places.h"

namespace tool {

/** What readers find under a name, and what a list says of its scope: "user", "global", "locked" or "unset". */
struct Found {
    char const* scope;
    filesystem::direct::Entry entry;
};

/** The settings of the scopes that readers look into, with what the administrator has locked in the global one. */
class InForce {
public:
    /** Errors: as `settingsToRead`. */
    explicit InForce(Places const& places);

    /** In the readers' order. */
    [[nodiscard]] std::array<ScopedSettings, 2> const& scopes() const noexcept { return _scopes; }

    /** Whether anything is locked. */
    [[nodiscard]] bool hasLocks() const noexcept { return !_locks.empty(); }

    /** Whether a clean name is locked. */
    [[nodiscard]] bool isLocked(std::string const& name) const { return _locks.entryFor(name).has_value(); }

    /** What is under a clean name. */
    [[nodiscard]] Found find(std::string const& name) const;

private:
    std::array<ScopedSettings, 2> _scopes;
    Locks _locks;
};

/** Whether readers leave a scope out for the names that are locked. */
bool isUsers(ScopedSettings const& scoped);

} // namespace tool
