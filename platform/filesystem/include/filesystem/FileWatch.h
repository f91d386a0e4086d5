// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "filesystem/Export.h"

namespace filesystem {

/**
 * Detects that files on disk are replaced, rewritten, created or removed, by any process, or get other permissions.
 *
 * It resolves each path as the system does, so it also detects that a directory on the path is moved, or removed and
 * created again, and that a symbolic link changes. Files and directories on the path need not exist yet. It needs no
 * thread: the caller polls `descriptor()`.
 *
 * Locks: none; use a watch on one thread at a time.
 */
class VELMORAND_FILESYSTEM_EXPORT FileWatch {
public:
    /**
     * Starts watching files, given by their absolute UTF-8 paths. Create the watch before you read the files: it then
     * detects every change that the reads have missed.
     * Errors: `std::bad_alloc`. If a file cannot be watched, see `isWatching`.
     */
    explicit FileWatch(std::vector<std::string> paths);
    FileWatch(FileWatch const&) = delete;
    FileWatch& operator=(FileWatch const&) = delete;
    ~FileWatch();

    /**
     * Whether all files are watched. Otherwise `errno` is the reason: the system has no watches left, or the directory
     * of a file is not readable. `takeEvents` tries again after a change to a directory or link on the path to a file.
     */
    [[nodiscard]] bool isWatching() const noexcept;

    /** Readable when something has happened; -1 if nothing is watched. `takeEvents` may change the descriptor. */
    [[nodiscard]] int descriptor() const noexcept;

    /**
     * Takes the events so far. Does not wait.
     * Result: whether any file may have been replaced or changed since the last call. It may be true as soon as a file
     * has been created; it is then true again once the file has been written and closed.
     * Errors: `std::bad_alloc`.
     */
    bool takeEvents();

private:
    class Watches;

    std::vector<std::string> _paths;
    std::unique_ptr<Watches> _watches;
};

} // namespace filesystem
