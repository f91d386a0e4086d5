// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "Declaration.h"
#include "Locks.h"
#include "Places.h"

namespace tool {

/** Determines which values may be set, according to the programs' declarations and the administrator's locks. */
class Permissions {
public:
    /**
     * The permissions in the scope that a command changes. Locks apply only to the user's scope, and only if the global
     * directory is given.
     * Errors: `Failure` if a given catalogue or the global register file cannot be read.
     */
    explicit Permissions(Places const& places);

    [[nodiscard]] Declarations const& declarations() const noexcept { return _declarations; }

    /** Why a value must not be set under a clean name, and how to set it anyway; empty if it may be set. */
    [[nodiscard]] std::string objectionTo(std::string const& name, Value const& value) const;

    /** The declared name that an undeclared clean name probably stands for; nothing if no declared name is similar. */
    [[nodiscard]] std::optional<std::string> similarTo(std::string const& name) const;

private:
    Declarations _declarations;
    Locks _locks;
};

} // namespace tool
