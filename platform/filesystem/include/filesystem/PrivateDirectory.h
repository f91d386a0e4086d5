// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "filesystem/Export.h"

namespace filesystem {

/**
 * Creates a directory on disk and its missing parents, with mode 0700, and makes them durable. An existing directory is
 * not changed. The path is UTF-8.
 * Result: whether the directory exists; otherwise `errno` is the reason, and the directories that could be created
 * stay.
 */
VELMORAND_FILESYSTEM_EXPORT bool makePrivateDirectories(std::string const& path);

/**
 * The kernel's lock on a directory, which a process holds while it replaces files there. It excludes other processes
 * and other objects of this class in the same process. The kernel releases it when its holder exits or crashes. Reading
 * a file needs no lock.
 */
class VELMORAND_FILESYSTEM_EXPORT DirectoryLock {
public:
    enum class Outcome {
        taken,
        timedOut,
        failed, ///< `errno` is the reason
    };

    /** Holds nothing. */
    DirectoryLock() noexcept;
    DirectoryLock(DirectoryLock const&) = delete;
    DirectoryLock& operator=(DirectoryLock const&) = delete;

    /** Releases the lock, if it is held. */
    ~DirectoryLock();

    /**
     * Waits at most `patience` for the lock on the directory at `path` (UTF-8); if the directory is replaced meanwhile,
     * for the lock on the new one. If the file system does not support locks, or the directory is not readable, the
     * lock counts as taken. Must not be called while the lock is held.
     */
    [[nodiscard]] Outcome take(std::string const& path, std::chrono::milliseconds patience);

    /** Whether the lock was taken. */
    [[nodiscard]] bool isHeld() const noexcept;

private:
    Outcome tryOnce(std::string const& path);

    int _directory = -1; ///< held open; -1 if there are no locks
    bool _isHeld = false;
};

} // namespace filesystem
