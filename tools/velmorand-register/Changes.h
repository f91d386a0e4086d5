// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>

#include "Settings.h"

namespace tool {

/** Whether both hold the same groups and the same properties, byte for byte. */
bool areEqual(Settings const& before, Settings const& after);

/**
 * Prints the differences, sorted by name: a line with "-" for each property or empty group that was removed, one with
 * "+" for each that was added, and both for each property that changed. A line has the sign, the name, the kind and the
 * value.
 * Result: whether there were any differences.
 */
bool printChanges(Settings const& before, Settings const& after, std::ostream& out);

} // namespace tool
