// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>

#include "RegisterFile.h"

namespace tool {

/**
 * Prints what changes in a register file, old and new, whenever another process has replaced it; never returns.
 * A missing file counts as empty, even if its directory is missing; one that cannot be read is complained of, and
 * what it held before still counts. Links and directories on the way to it may be replaced as well.
 * Errors: `Failure` when the last existing directory on the way to the file cannot be watched.
 */
[[noreturn]] void watch(RegisterFile const& file, std::ostream& out);

} // namespace tool
