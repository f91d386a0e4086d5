// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>

#include "RegisterFile.h"

namespace tool {

/**
 * Prints the differences whenever a register file has changed; never returns. A missing file counts as empty, even if
 * its directory is missing as well. If a later version cannot be loaded, reports that, and compares the next valid
 * version with the last valid one. Continues even if links or directories on the path are replaced.
 * Errors: `Failure` if the deepest existing directory of the path cannot be watched, if the file cannot be loaded at
 * the start, or if the output cannot be written.
 */
[[noreturn]] void watch(RegisterFile const& file, std::ostream& out);

} // namespace tool
