// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace crash {

/**
 * Writes `bytes` to Velmorand.dat in `directory` in a way that can lose settings, to show that the harness notices it.
 * The manner "careful" is correct, to show that the harness accepts correct saves. `manner`:
 *
 *     "careful"             loses nothing
 *     "direct"              overwrites the old file
 *     "removing-first"      removes the old file before it renames the new one
 *     "unsynced"            does not fsync the file
 *     "directory-unsynced"  does not fsync the directory
 *     "unchecked-write"     ignores short writes
 *     "unchecked-sync"      ignores errors of fsync
 *     "impatient"           gives up when a signal interrupts it
 *     "littering"           never removes the temporary file of a killed save
 */
void saveCarelessly(std::string const& manner, std::string const& directory, std::string const& bytes);

} // namespace crash
