// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "filesystem/FileSystem.h"

namespace filesystem {

class RealHandles;

/**
 * The files below one real directory.
 *
 * Paths are relative to that root (a leading "/" is ignored) and cannot leave it through "..": a path with a "." or
 * ".." level does not exist. With an empty root nothing exists and nothing can be opened. Names are the UTF-8 bytes of
 * their paths, in every locale and at any time, even while the process exits. Entries whose names are not UTF-8 are not
 * listed, and no path reaches them.
 *
 * `exists` returns true for an entry that cannot be examined (because of permissions or an I/O error), so that it is
 * never mistaken for a missing one.
 *
 * Writing replaces a file atomically. The new content is written to a temporary file in the same directory; `close`
 * makes it durable and renames it over the old file. Until `close` has returned true, readers see the old content, even
 * if the process or the machine crashes; a handle that is never closed, or on which a write failed, changes nothing.
 * Opening a file for writing removes the temporary files that killed processes have left for it, and nothing else.
 *
 * A new file has the permissions 0666, less the umask. A replaced file keeps its owner and group where possible, its
 * permissions, its access control list and its other extended attributes, all as they are when the handle is flushed or
 * closed. Access is never extended: a file that cannot keep its group grants the new group nothing, and others no more
 * than the old group had; a file that cannot keep its access control list grants access only to its owner. A symbolic
 * link at the path stays, and its target is replaced. The directory must be writable, but need not be readable.
 *
 * Only regular files can be opened. If `open` or `close` returns false, `errno` is the reason; for `close`, the reason
 * of the first write that failed.
 */
class VELMORAND_FILESYSTEM_EXPORT RealFileSystem : public FileSystem {
public:
    /** The files below `root`. The directory is not accessed, and need not exist. */
    explicit RealFileSystem(QString const& root);
    ~RealFileSystem() noexcept(false) override;

    [[nodiscard]] std::set<DirEntry> getFileList(QString const& path) const override;
    [[nodiscard]] bool exists(QString const& path) const override;

    /**
     * As described for every file system. Symbolic links are removed, not followed; the root cannot be removed. If the
     * result is false, some of the entries in a directory may have been removed.
     */
    bool remove(QString const& path) override;

    /** As described for every file system. The permissions are 0777, less the umask. */
    bool mkdir(QString const& path) override;

    bool open(QString const& path, FileHandle** handle, FileSystemMode mode) override;
    bool close(FileHandle* handle) override;
    long read(FileHandle* handle, void* buffer, long count) override;
    long write(FileHandle* handle, void const* buffer, long count) override;
    bool seek(FileHandle* handle, long offset, FileSystemOrigin origin) override;
    [[nodiscard]] long tell(FileHandle* handle) override;
    [[nodiscard]] void* loadModule(QString const& path) override;
    bool unloadModule(void* module) override;
    [[nodiscard]] void* getSymbolAddress(void* module, QString const& symbol) override;
    [[nodiscard]] bool isDirectory(QString const& path) const override;
    [[nodiscard]] bool isFile(QString const& path) const override;

    /**
     * Identifies a version of a file: equal stamps mean the same file with the same content, as far as the system's
     * timestamps can tell.
     */
    struct Stamp {
        std::uint64_t device = 0;
        std::uint64_t number = 0; ///< of the file on its device (inode); 0: no file
        std::int64_t size = 0;
        std::int64_t changedSeconds = 0;
        std::int64_t changedNanoseconds = 0;
    };
    friend bool operator==(Stamp const& left, Stamp const& right) noexcept {
        return left.device == right.device && left.number == right.number && left.size == right.size &&
               left.changedSeconds == right.changedSeconds &&
               left.changedNanoseconds == right.changedNanoseconds;
    }

    /** The stamp of the file that a handle reads, or of the temporary file that a handle writes. */
    [[nodiscard]] Stamp stamp(FileHandle* handle) const;

    /**
     * The stamp of the entry at a path; symbolic links are followed. Its number is 0 if the entry cannot be examined.
     */
    [[nodiscard]] Stamp stampAt(QString const& path) const;

    /**
     * Makes the data written to a handle durable before `close`, which then only has to move the file into place.
     * Nothing can be written to the handle after that.
     * Result: whether all of it is durable; otherwise `errno` is the reason. Do not close the handle then: as long as
     * it is not closed, the file stays unchanged.
     */
    bool flush(FileHandle* handle);

    /**
     * Before a file is replaced: makes its current content available under a second name as well, replacing any file of
     * that name. This becomes durable together with the replacement.
     * Result: whether it is kept; otherwise `errno` is the reason, and the second name is unchanged.
     */
    bool keepAs(QString const& path, QString const& second);

    /**
     * Renames a file to a name that does not exist yet, and flushes the directory.
     * Result: whether it was renamed; otherwise `errno` is the reason.
     */
    bool moveAside(QString const& path, QString const& name);

private:
    bool copy(QString const& path, QString const& second);

    std::string _root;
    std::unique_ptr<RealHandles> _handles;
};

} // namespace filesystem
