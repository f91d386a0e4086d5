// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>

#include "RegisterFile.h"

namespace tool {

/**
 * Prints the differences whenever another process has replaced a register file; never returns. A missing file counts as
 * empty, even if its directory is missing. A file that cannot be read is reported, and the next readable one is
 * compared with the last. Links and directories on the path may be replaced as well.
 * Errors: `Failure` if the deepest existing directory of the path cannot be watched.
 */
[[noreturn]] void watch(RegisterFile const& file, std::ostream& out);

} // namespace tool
