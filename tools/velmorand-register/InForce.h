// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <string>

#include "Locks.h"
#include "Places.h"

namespace tool {

/** An entry as readers find it, and its scope in a list: "user", "global", "locked" or "unset". */
struct Found {
    char const* scope;
    filesystem::direct::Entry entry;
};

/** The settings of the scopes that readers search, and the administrator's locks. */
class InForce {
public:
    /** Errors: as `settingsToRead`. */
    explicit InForce(Places const& places);

    /** The scopes in the order in which readers search them. */
    [[nodiscard]] std::array<ScopedSettings, 2> const& scopes() const noexcept { return _scopes; }

    /** Whether anything is locked. */
    [[nodiscard]] bool hasLocks() const noexcept { return !_locks.empty(); }

    /** Whether a clean name is locked. */
    [[nodiscard]] bool isLocked(std::string const& name) const { return _locks.entryFor(name).has_value(); }

    /** The entry that readers find under a clean name. */
    [[nodiscard]] Found find(std::string const& name) const;

private:
    std::array<ScopedSettings, 2> _scopes;
    Locks _locks;
};

/** Whether a scope is the user's scope, which readers skip for locked names. */
bool isUsers(ScopedSettings const& scoped);

} // namespace tool
