// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

#include "filesystem/Export.h"

namespace filesystem {

class RAMFileSystem;

/**
 * Lets an in-memory file system increase `counter` with every operation that changes a file or a directory. For code
 * that caches copies and must detect, without using the file system, that they may be out of date. One change may
 * increase the counter more than once. Replaces the previous counter.
 *
 * `counter` must outlive the file system, and no other file system may use it: it is increased by a relaxed load and a
 * relaxed store, which count correctly only because changes never overlap. Any thread may read it at any time.
 *
 * Locks: none; the file system's rules apply.
 */
VELMORAND_FILESYSTEM_EXPORT void countChanges(RAMFileSystem& fileSystem,
                                              std::atomic<std::uint64_t>& counter) noexcept;

} // namespace filesystem
