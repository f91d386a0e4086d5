// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string_view>

#include "filesystem/Export.h"

namespace filesystem {

class RAMFileSystem;

/**
 * Direct access to what a file system in memory holds: whole files at once, by UTF-8 paths, with no handle,
 * no conversion of names and no virtual call. For a class derived from `RAMFileSystem` whose own operations
 * must be fast and that knows that nothing overrides the file system's.
 *
 * A place is given as a first-level directory and a path below it, as elsewhere: empty levels mean nothing.
 * Errors: `utils::Exception` for a path of 2 GiB or more that is not ASCII.
 * Locks: none; the rules are the file system's.
 */
namespace direct {

enum class Kind { none, directory, file };

struct Entry {
    Kind kind;
    std::string_view content; ///< of a file; valid until the file system is next changed
};

/** What stands at `path` in the first of these directories that have something there. */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT Entry find(RAMFileSystem const& fileSystem,
                                                     std::initializer_list<std::string_view> directories,
                                                     std::string_view path);

/**
 * Gives the file at a place, which is made when it is missing, a content of `size` bytes.
 * Result: the first of them, for the caller to fill before the file system is used again; null, with nothing
 * changed, when the directory around the place is missing, the place is a directory, its name is none, or the
 * size is 4 GiB or more.
 * Errors: `std::bad_alloc`; nothing has changed.
 */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT char* rewrite(RAMFileSystem& fileSystem, std::string_view directory,
                                                        std::string_view path, std::size_t size);

/**
 * Makes the directory `around`, as `makeDirectories` does, and then gives the file at `path` a content, as
 * `rewrite` does.
 * Errors: `std::bad_alloc`; nothing has changed.
 */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT char* make(RAMFileSystem& fileSystem, std::string_view directory,
                                                     std::string_view around, std::string_view path,
                                                     std::size_t size);

/**
 * Makes the directory at a place and those above it that are missing.
 * Result: whether it is there; false when a file is in the way or a name is none, with those above it made.
 * Errors: `std::bad_alloc`; nothing has changed.
 */
VELMORAND_FILESYSTEM_EXPORT bool makeDirectories(RAMFileSystem& fileSystem, std::string_view directory,
                                                 std::string_view path);

} // namespace direct

} // namespace filesystem
