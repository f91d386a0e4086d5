// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>

#include "RegisterFile.h"

namespace tool {

/**
 * Prints the differences whenever a register file has changed; never returns. A missing file counts as empty, even if
 * its directory is missing as well. A file that cannot be read is reported, and the next readable version is compared
 * with the last one. Links and directories on the path may also be replaced.
 * Errors: `Failure` if the deepest existing directory of the path cannot be watched.
 */
[[noreturn]] void watch(RegisterFile const& file, std::ostream& out);

} // namespace tool
