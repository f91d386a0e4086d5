// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "filesystem/Export.h"

namespace filesystem {

/**
 * Notices that files on disk are replaced, rewritten, created or removed, by whatever process.
 *
 * It follows each path as the system does: a directory on the way that is removed and made again, or moved, and
 * a symbolic link that is repointed are noticed too. A missing file or directory is waited for. Nothing runs as
 * long as nothing happens: the caller polls `descriptor()`.
 *
 * Locks: none; one thread at a time uses a watch.
 */
class VELMORAND_FILESYSTEM_EXPORT FileWatch {
public:
    /**
     * Watches files by their absolute UTF-8 paths, from now on: a file that is read after this is not older than
     * what the watch will notice.
     * Errors: none; see `isWatching`.
     */
    explicit FileWatch(std::vector<std::string> paths);
    FileWatch(FileWatch const&) = delete;
    FileWatch& operator=(FileWatch const&) = delete;
    ~FileWatch();

    /**
     * Whether all files are watched. Otherwise `errno` says why: the system has no watches left, or the directory of
     * a file may not be read. `takeEvents` tries again when something else on the way to the file has changed.
     */
    [[nodiscard]] bool isWatching() const noexcept;

    /** Readable when something has happened; -1 if nothing is watched. It may differ after `takeEvents`. */
    [[nodiscard]] int descriptor() const noexcept;

    /**
     * Takes what has happened so far, without waiting.
     * Result: whether some file may be another one, or hold something else, than at the last call. If it was only
     * opened for writing the answer may be true too early, but then it is true again once it has been written.
     */
    bool takeEvents();

private:
    class Watches;

    std::vector<std::string> _paths;
    std::unique_ptr<Watches> _watches;
};

} // namespace filesystem
