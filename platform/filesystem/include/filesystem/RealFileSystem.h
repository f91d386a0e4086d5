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
 * Paths are relative to that root (a leading "/" means nothing), and none leads out of it through "..": a
 * path with a "." or ".." level names nothing. With an empty root nothing exists and nothing opens. Names are
 * the UTF-8 bytes of their paths, in every locale and at every moment of the process, exit included.
 *
 * What stands at a path but cannot be examined (a directory without permission, an I/O error) counts as
 * existing, so that it is never taken for missing.
 *
 * Writing replaces a file in one step. The new content is written to a temporary file in the same directory;
 * `close` makes it durable and renames it over the old file. Until `close` has returned true everyone sees the
 * old content, whatever happens to the process or the machine; a handle that is never closed, or on which a
 * write failed, changes nothing. Opening a file for writing removes the temporary files that killed processes
 * have left beside it, and nothing else.
 *
 * A replaced file keeps its owner and group where possible, its permissions, its access control list and its
 * other extended attributes, all as they are when it is closed. Nobody is granted more than before: a file that
 * cannot keep its group grants the new group nothing, and others no more than the old group had; a file that cannot
 * keep its access control list grants only what its owner may do.
 * A symbolic link in its place stays, and its target is replaced. The directory must be writable, and need not
 * be readable.
 *
 * When `open` or `close` returns false, `errno` says why; for `close`, why the first write that failed did.
 */
class VELMORAND_FILESYSTEM_EXPORT RealFileSystem : public FileSystem {
public:
    /** The files below `root`. The directory is not touched, and need not exist. */
    explicit RealFileSystem(QString const& root);
    ~RealFileSystem() noexcept(false) override;

    [[nodiscard]] std::set<DirEntry> getFileList(QString const& path) const override;
    [[nodiscard]] bool exists(QString const& path) const override;

    /** As described for every file system; symbolic links are removed, not followed; the root stays. */
    bool remove(QString const& path) override;

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

    /** A file and its content: equal stamps mean the same file with the same content, as far as the system says. */
    struct Stamp {
        std::uint64_t device = 0;
        std::uint64_t number = 0; ///< of the file on its device; 0 for no file
        std::int64_t size = 0;
        std::int64_t changedSeconds = 0;
        std::int64_t changedNanoseconds = 0;
    };
    friend bool operator==(Stamp const& left, Stamp const& right) noexcept {
        return left.device == right.device && left.number == right.number && left.size == right.size &&
               left.changedSeconds == right.changedSeconds &&
               left.changedNanoseconds == right.changedNanoseconds;
    }

    /** The stamp of the file that a handle reads, or of the one that a handle writes aside. */
    [[nodiscard]] Stamp stamp(FileHandle* handle) const;

    /** The stamp of what stands at a path, symbolic links followed; its number is 0 if it cannot be examined. */
    [[nodiscard]] Stamp stampAt(QString const& path) const;

    /**
     * Makes what was written to a handle durable ahead of `close`, which is then left with moving it into its place.
     * Nothing can be written to the handle after that.
     * Result: whether all of it is; otherwise `errno` says why, and `close` will fail too.
     */
    bool flush(FileHandle* handle);

    /**
     * Keeps what a file holds now under a second name as well, in place of what that name held, for when the file
     * is replaced. Durable together with the replacement.
     * Result: whether it is kept; otherwise `errno` says why, and the second name is as it was.
     */
    bool keepAs(QString const& path, QString const& second);

    /**
     * Gives a file another name, which nothing has yet, and makes that durable.
     * Result: whether it was moved; otherwise `errno` says why.
     */
    bool moveAside(QString const& path, QString const& name);

private:
    bool copy(QString const& path, QString const& second);

    std::string _root;
    std::unique_ptr<RealHandles> _handles;
};

} // namespace filesystem
