// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "filesystem/Export.h"

namespace filesystem {

class RAMFileSystem;

/** Receives the UTF-8 name of an entry, which it must copy to keep. */
using EntryNotice = void (*)(std::string_view name);

/**
 * Lets an in-memory file system call `notice` before a file or directory appears directly in a first-level directory,
 * either because it is created or because its directory or the whole tree is replaced with one that contains it.
 * `notice` may also be called for a name that already exists, and before an operation that then fails. Replaces the
 * previous notice; null for no notice.
 *
 * `notice` must not use the file system. If it throws, the exception leaves the operation, with nothing changed.
 *
 * Locks: none; the file system's rules apply.
 */
VELMORAND_FILESYSTEM_EXPORT void noticeEntries(RAMFileSystem& fileSystem, EntryNotice notice) noexcept;

} // namespace filesystem
