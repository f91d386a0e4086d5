// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "filesystem/Export.h"

namespace filesystem {

class Journal;
class RAMFileSystem;

/**
 * Records what changes in a first-level directory of a file system in memory, whatever operation changes it.
 *
 * A file system has at most one change log at a time, and the log must be destroyed before the file system.
 * Recording costs a write a few instructions, and nothing else: values are not compared, so a write of an equal
 * value is a change.
 *
 * Locks: none; the rules are the file system's.
 */
class VELMORAND_FILESYSTEM_EXPORT ChangeLog {
public:
    /**
     * Starts recording changes in `directory`, the UTF-8 name of a first-level directory that exists. `wake` is
     * called at the first change, and at the first after each `take`, from inside the operation that makes it:
     * it must not throw and must not use the file system.
     * Errors: `utils::Exception` if the directory does not exist or the file system has a change log already.
     */
    ChangeLog(RAMFileSystem& fileSystem, std::string const& directory, std::function<void()> wake);
    ChangeLog(ChangeLog const&) = delete;
    ChangeLog& operator=(ChangeLog const&) = delete;
    ~ChangeLog();

    /**
     * The paths, relative to the directory, at which something may have changed since the last call. Each stands
     * for itself and for everything below it; the empty path is the whole directory. Sorted as a tree is walked,
     * a directory before what is in it; no path is below another one.
     */
    [[nodiscard]] std::vector<std::string> take();

    /** Whether there is nothing to take. */
    [[nodiscard]] bool isEmpty() const noexcept;

    /** Whether a path comes before another one as a tree is walked: a directory, what is in it, its neighbours. */
    [[nodiscard]] static bool precedes(std::string const& left, std::string const& right);

    /** The paths that are not below others of them, each once, sorted as a tree is walked. */
    [[nodiscard]] static std::vector<std::string> outermost(std::vector<std::string> paths);

private:
    RAMFileSystem& _fileSystem;
    std::unique_ptr<Journal> _journal;
};

} // namespace filesystem
