// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace crash {

/**
 * Writes `bytes` to Velmorand.dat in `directory`, in ways that can lose settings, to show that the harness notices.
 * The careful one is correct, and shows that the harness does not report everything. `manner`:
 *
 *     "careful"             loses nothing
 *     "direct"              overwrites the old file
 *     "removing-first"      removes the old file before it renames the new one
 *     "unsynced"            does not fsync the file
 *     "directory-unsynced"  does not fsync the directory
 *     "unchecked-write"     ignores short writes
 *     "unchecked-sync"      ignores errors of fsync
 *     "impatient"           gives up when a signal interrupts it
 *     "littering"           leaves a temporary file when it is killed, which is never removed
 */
void saveCarelessly(std::string const& manner, std::string const& directory, std::string const& bytes);

} // namespace crash
