// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "filesystem/Export.h"

namespace filesystem {

class RAMFileSystem;

/** Is given the UTF-8 name of an entry, which it must copy if it keeps it. */
using EntryNotice = void (*)(std::string_view name);

/**
 * Makes a file system in memory call `notice` before a file or directory comes to stand directly in a first-level
 * directory, by whatever operation: it is made, or its directory or the whole tree is replaced by one that has it. It
 * may be called for a name that is there already, and if the operation fails after that. Replaces the notice set before;
 * null for no notice.
 *
 * `notice` must not use the file system. What it throws comes out of the operation, with nothing changed.
 *
 * Locks: none; the rules are the file system's.
 */
VELMORAND_FILESYSTEM_EXPORT void noticeEntries(RAMFileSystem& fileSystem, EntryNotice notice) noexcept;

} // namespace filesystem
