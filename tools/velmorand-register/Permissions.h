// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Declaration.h"
#include "Locks.h"
#include "Places.h"

namespace tool {

/** Which values settings may get: what programs declare, and what the administrator has locked. */
class Permissions {
public:
    /**
     * For the scope that a command changes. Only the user's has locks, if the global directory is given.
     * Errors: `Failure` if a catalogue that is given, or the global register file, cannot be read.
     */
    explicit Permissions(Places const& places);

    [[nodiscard]] Declarations const& declarations() const noexcept { return _declarations; }

    /** Why a clean name may not get a value, with the cure; empty if it may. */
    [[nodiscard]] std::string objectionTo(std::string const& name, Value const& value) const;

private:
    Declarations _declarations;
    Locks _locks;
};

} // namespace tool
