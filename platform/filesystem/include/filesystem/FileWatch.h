// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "filesystem/Export.h"

namespace filesystem {

/**
 * Detects when files on disk are replaced, rewritten, created or removed, by any process.
 *
 * It resolves each path as the system does: it also detects if a directory on the path is removed and created again, or
 * moved, and if a symbolic link is changed. A missing file or directory is waited for. It needs no thread: the caller
 * polls `descriptor()`.
 *
 * Locks: none; use a watch on one thread at a time.
 */
class VELMORAND_FILESYSTEM_EXPORT FileWatch {
public:
    /**
     * Watches files by their absolute UTF-8 paths, from now on: if a file is read after this, the watch detects all
     * later changes.
     * Errors: none; see `isWatching`.
     */
    explicit FileWatch(std::vector<std::string> paths);
    FileWatch(FileWatch const&) = delete;
    FileWatch& operator=(FileWatch const&) = delete;
    ~FileWatch();

    /**
     * Whether all files are watched. Otherwise `errno` is the reason: the system has no watches left, or the directory
     * of a file is not readable. `takeEvents` tries again when something else on the path of the file has changed.
     */
    [[nodiscard]] bool isWatching() const noexcept;

    /** Readable when something has happened; -1 if nothing is watched. `takeEvents` may change the descriptor. */
    [[nodiscard]] int descriptor() const noexcept;

    /**
     * Takes the events so far, without waiting.
     * Result: whether any file may have been replaced, or its content changed, since the last call. If a file has only
     * been opened for writing, the result may be true too early, but then it is true again once the file has been
     * written.
     */
    bool takeEvents();

private:
    class Watches;

    std::vector<std::string> _paths;
    std::unique_ptr<Watches> _watches;
};

} // namespace filesystem
