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
 * Records the changes in a first-level directory of an in-memory file system, no matter which operation makes them.
 *
 * A file system has at most one change log at a time, and the log must be destroyed before the file system. Recording
 * adds only a few instructions to a write: values are not compared, so writing an equal value counts as a change.
 *
 * Locks: none; the file system's rules apply.
 */
class VELMORAND_FILESYSTEM_EXPORT ChangeLog {
public:
    /**
     * Starts recording changes in `directory`, the UTF-8 name of an existing first-level directory. `wake` is called at
     * the first change, and at the first change after each `take`, from inside the operation that makes the change. It
     * must not throw, and must not use the file system.
     * Errors: `utils::Exception` if the directory does not exist or the file system already has a change log.
     */
    ChangeLog(RAMFileSystem& fileSystem, std::string const& directory, std::function<void()> wake);
    ChangeLog(ChangeLog const&) = delete;
    ChangeLog& operator=(ChangeLog const&) = delete;

    /** Stops recording. */
    ~ChangeLog();

    /**
     * The paths, relative to the directory, at which something may have changed since the last call. Each path covers
     * itself and everything below it; the empty path is the whole directory. Sorted in tree order, a directory before
     * its entries; no path is below another one.
     * Errors: `std::bad_alloc`; the next call then returns the empty path.
     */
    [[nodiscard]] std::vector<std::string> take();

    /** Whether there is nothing to take. */
    [[nodiscard]] bool isEmpty() const noexcept;

    /** Whether `left` precedes `right` in tree order: a directory, then its entries, then its next sibling. */
    [[nodiscard]] static bool precedes(std::string const& left, std::string const& right);

    /** `paths` in tree order, without duplicates and without paths that are below another one. */
    [[nodiscard]] static std::vector<std::string> outermost(std::vector<std::string> paths);

private:
    RAMFileSystem& _fileSystem;
    std::unique_ptr<Journal> _journal;
};

} // namespace filesystem
