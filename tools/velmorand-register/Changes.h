// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>

#include "Entry.h"

namespace tool {

/**
 * Prints a line for each entry that is gone ("-"), new ("+"), or both when it is another one now, sorted by
 * name: the sign, the name, the kind, and the value.
 * Result: whether there was any.
 */
bool printChanges(Entries const& before, Entries const& after, std::ostream& out);

} // namespace tool
