// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>
#include <string>

#include "RegisterFile.h"

/**
 * The copies of a register file that are kept beside it: the file before the last save, and damaged files that
 * applications have moved aside.
 */
namespace tool {

/**
 * Prints a line for each copy, the newest first: when it was written, in local time; its name; and its number of
 * properties, or what is wrong with it. A missing directory holds none.
 * Result: whether there was any.
 * Errors: `Failure` when the directory cannot be read.
 */
bool listCopies(RegisterFile const& file, std::ostream& out);

/** The copy of this name; "previous" stands for the previous file. Errors: `Failure` when there is no such copy. */
RegisterFile findCopy(RegisterFile const& file, std::string const& name);

/**
 * Replaces a register file by a copy of it, and keeps the replaced file as the previous one. If both hold the same
 * settings, nothing is touched. The caller holds the directory's lock.
 * Errors: `Failure` when the copy is not a whole register file, or the file cannot be replaced; nothing has changed
 * then.
 */
void restoreCopy(RegisterFile const& file, RegisterFile const& copy);

} // namespace tool
