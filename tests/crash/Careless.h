// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace crash {

/**
 * The ways of saving that lose settings, each named for what it leaves out; they are here to show that the
 * harness notices. The careful one leaves nothing out, and shows that the harness does not cry out at
 * everything. Writes `bytes` to Velmorand.dat in `directory`. `manner`:
 *
 *     "careful"             loses nothing
 *     "direct"              writes over the old file
 *     "removing-first"      removes the old file before it moves the new one to its place
 *     "unsynced"            does not synchronise the file
 *     "directory-unsynced"  does not synchronise the directory
 *     "unchecked-write"     does not look whether all was written
 *     "unchecked-sync"      does not look whether the file was synchronised
 *     "impatient"           gives up when a signal interrupts it
 *     "littering"           leaves a new temporary file behind when it is killed, for good
 */
void saveCarelessly(std::string const& manner, std::string const& directory, std::string const& bytes);

} // namespace crash
