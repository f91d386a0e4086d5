// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>

#include "RegisterFile.h"

namespace tool {

/**
 * Prints what changes in a register file, old and new, whenever another process has replaced it; without end.
 * A missing file is an empty one; one that cannot be read is complained of, and what it held before counts.
 * Errors: `Failure` when its directory cannot be watched, or is gone.
 */
[[noreturn]] void watch(RegisterFile const& file, std::ostream& out, std::ostream& complaints);

} // namespace tool
