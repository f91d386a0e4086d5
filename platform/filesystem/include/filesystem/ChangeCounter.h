// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

#include "filesystem/Export.h"

namespace filesystem {

class RAMFileSystem;

/**
 * Makes a file system in memory add to `counter` with every operation that changes a file or a directory, for code
 * that keeps copies and must notice, without using the file system, that they may be out of date. It may add more
 * than one for a change. Replaces the counter set before.
 *
 * `counter` must outlive the file system, and no other file system may add to it: adding is a plain load and store,
 * ordered only by what orders the changes themselves. Any thread may read it at any time.
 *
 * Locks: none; the rules are the file system's.
 */
VELMORAND_FILESYSTEM_EXPORT void countChanges(RAMFileSystem& fileSystem,
                                              std::atomic<std::uint64_t>& counter) noexcept;

} // namespace filesystem
