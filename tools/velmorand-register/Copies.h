// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>
#include <optional>
#include <string>

#include "Changes.h"
#include "RegisterFile.h"

/**
 * The copies of a register file in its directory: the file before the last save, and damaged files that applications
 * have moved aside.
 */
namespace tool {

/**
 * Prints a line for each copy, the newest first: the local time at which it was written, with the offset from UTC, its
 * name, and its number of properties or the reason why it cannot be read. A missing directory has no copies.
 * Result: whether there are any.
 * Errors: `Failure` if the directory cannot be read.
 */
bool listCopies(RegisterFile const& file, std::ostream& out);

/** The copy with this name; "previous" is short for the previous file. Errors: `Failure` if it does not exist. */
RegisterFile findCopy(RegisterFile const& file, std::string const& name);

/**
 * Replaces a register file with a copy. An intact file is kept as the previous file. A damaged file is kept under a
 * name with the time, and the previous file does not change; only the newest five damaged files are kept. If an intact
 * file has the same settings as the copy, nothing is written. The caller holds the lock on the directory.
 * Result: the changes, compared with no settings if the file was missing or damaged; nothing if the file was not
 * written.
 * Errors: `Failure` if the copy is damaged or the file cannot be read or replaced; nothing has changed then.
 */
std::optional<Difference> restoreCopy(RegisterFile const& file, RegisterFile const& copy);

} // namespace tool
