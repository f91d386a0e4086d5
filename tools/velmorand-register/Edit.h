// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <iosfwd>
#include <optional>

#include <filesystem/PrivateDirectory.h>

#include "Changes.h"
#include "Places.h"
#include "Settings.h"

/** Changing register files, one process at a time. */
namespace tool {

/**
 * Waits for the lock on a register directory. Every process holds this lock while it replaces files there.
 * Errors: `Failure` if it takes longer than `patience`, or if the directory cannot be opened.
 */
void take(filesystem::DirectoryLock& lock, Directory const& directory, std::chrono::seconds patience);

using Change = std::function<void(Settings&)>;

/**
 * Loads the register file, changes the settings and saves them, under the lock on the directory. If nothing changes,
 * the file is not written. `change` may be called twice, on different settings. After a change, calls `noteScope`, and
 * prints a note on standard error if the change puts a list of locks into the user's file.
 * Result: the difference; nothing if the file was not written. A missing file is always written.
 */
std::optional<Difference> edit(Places const& places, Change const& change);

/** Does the same as `edit`, but writes nothing. */
std::optional<Difference> rehearse(Places const& places, Change const& change);

/** Does the same as `rehearse`, and prints the changes as `printChanges` does. */
std::optional<Difference> preview(Places const& places, Change const& change, std::ostream& out);

/**
 * Called after a change or its preview: if the command line gives the global directory but no scope, prints a note on
 * standard error that the settings are the user's.
 */
void noteScope(Places const& places);

} // namespace tool
