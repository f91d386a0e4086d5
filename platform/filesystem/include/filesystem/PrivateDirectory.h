// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "filesystem/Export.h"

namespace filesystem {

/**
 * Makes a directory on disk and those around it that are missing, with mode 0700, and makes them durable. A
 * directory that exists is left as it is. The path is UTF-8.
 * Result: whether the directory is there; otherwise `errno` says why, and what could be made stays.
 */
VELMORAND_FILESYSTEM_EXPORT bool makePrivateDirectories(std::string const& path);

/**
 * The kernel's lock on a directory, by which processes take turns in replacing the files in it. The kernel
 * releases it when its holder ends, however that comes about. Reading takes no lock.
 */
class VELMORAND_FILESYSTEM_EXPORT DirectoryLock {
public:
    enum class Outcome {
        taken,
        timedOut,
        failed, ///< `errno` says why
    };

    /** Holds nothing. */
    DirectoryLock() noexcept;
    DirectoryLock(DirectoryLock const&) = delete;
    DirectoryLock& operator=(DirectoryLock const&) = delete;
    ~DirectoryLock();

    /**
     * Waits for the lock on the directory that is at this path when the lock is taken. Where the file system has
     * no locks, or the directory may not be read, it counts as taken.
     */
    [[nodiscard]] Outcome take(std::string const& path, std::chrono::milliseconds patience);

    /** Whether the lock was taken. */
    [[nodiscard]] bool isHeld() const noexcept;

private:
    Outcome tryOnce(std::string const& path);

    int _directory = -1; ///< held open; not where there are no locks
    bool _isHeld = false;
};

} // namespace filesystem
