// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>

#include "Settings.h"

namespace tool {

/** Whether both hold the same groups and the same properties, byte for byte. */
bool areEqual(Settings const& before, Settings const& after);

/**
 * Prints a line for each property or empty group that is gone ("-"), new ("+"), or both when it has changed, in the
 * order of the names: the sign, the name, the kind, and the value.
 * Result: whether there was any.
 */
bool printChanges(Settings const& before, Settings const& after, std::ostream& out);

} // namespace tool
