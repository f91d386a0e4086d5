// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>

#include <filesystem/PrivateDirectory.h>

#include "Places.h"
#include "Settings.h"

/** Changing register files in turn with applications and other instances of this program. */
namespace tool {

/**
 * Waits for the lock on a register directory, under which applications and other instances of this program replace
 * the files in it. Errors: `Failure` when that takes too long, or the directory cannot be opened.
 */
void take(filesystem::DirectoryLock& lock, Directory const& directory, std::chrono::seconds patience);

using Change = std::function<void(Settings&)>;

/**
 * Loads the register file, changes the settings, and saves them, while no other process replaces the file. The
 * file stays untouched when nothing changes. `change` may be called twice, each time with other settings.
 */
void edit(Places const& places, Change const& change);

} // namespace tool
