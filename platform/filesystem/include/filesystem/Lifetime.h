// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "filesystem/Export.h"

namespace filesystem {

class RAMFileSystem;

/**
 * Has a function called when a file system in memory is destroyed: for code that knows the address of a file
 * system it does not own, and that may run after the file system's end.
 *
 * `ended` is called once, on the thread that destroys the file system. Classes derived from the file system
 * have been destroyed by then, its own content has not. It must not throw, and it must stay callable for as
 * long as the file system lives: the library it is part of must not be unloaded before.
 *
 * Result: whether a file system lives at this address. Otherwise nothing is registered.
 * Errors: `std::bad_alloc`; nothing is registered.
 * Locks: one of its own, which is not held during the call. The caller makes sure that the file system is not
 * being destroyed on another thread at the same time.
 */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT bool callAtEnd(RAMFileSystem const* fileSystem, void (*ended)());

/** How many file systems in memory the process has made so far. Locks: as above. */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT std::uint64_t madeSoFar();

/** How many file systems had been made before the one at this address, which is alive. Locks: as above. */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT std::uint64_t numberOf(RAMFileSystem const* fileSystem);

} // namespace filesystem
