// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "filesystem/Export.h"

namespace filesystem {

class RAMFileSystem;

/**
 * Calls a function when an in-memory file system is destroyed. For code that keeps the address of a file system that it
 * does not own, and may run after the file system has been destroyed.
 *
 * `ended` is called once, on the thread that destroys the file system, after the destructors of derived classes and
 * before the content is destroyed. `ended` must not throw. The library that contains it must stay loaded for as long as
 * the file system exists.
 *
 * Result: whether a file system exists at this address. If not, nothing is registered.
 * Errors: `std::bad_alloc`; nothing is registered.
 * Locks: a private lock, which is not held during the call. The caller must ensure that the file system is not being
 * destroyed on another thread at the same time.
 */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT bool callAtEnd(RAMFileSystem const* fileSystem, void (*ended)());

/** The number of in-memory file systems that the process has created so far. Locks: as above. */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT std::uint64_t madeSoFar();

/**
 * The number of file systems that had been created before the one at this address, which must exist. Locks: as above.
 */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT std::uint64_t numberOf(RAMFileSystem const* fileSystem);

} // namespace filesystem
