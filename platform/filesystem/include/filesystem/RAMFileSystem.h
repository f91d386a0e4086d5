// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "filesystem/FileSystem.h"

namespace filesystem {

class LastListing;
class RAMHandles;
class Tree;

/**
 * A file system that lives in memory.
 *
 * Paths are absolute; names are any Unicode text except "", ".", ".." and what contains "/". A name with
 * unpaired surrogates is invalid: nothing exists under it and nothing can be made.
 *
 * A file that is removed, replaced or opened again for writing while a handle is open on it leaves that
 * handle safe: it reads what is there now, or nothing. A handle costs only its own size, whatever becomes of
 * its file. A file holds less than 4 GiB, or 2 GiB on a machine of 32 bits; a write past that moves fewer bytes.
 *
 * Every operation takes time and memory in proportion to its path and to what it lists, removes or copies,
 * whatever the number of files; none recurses on the depth of the tree.
 */
class VELMORAND_FILESYSTEM_EXPORT RAMFileSystem : public FileSystem {
public:
    /** An empty tree: only the root, "/". */
    RAMFileSystem();
    ~RAMFileSystem() noexcept(false) override;

    [[nodiscard]] std::set<DirEntry> getFileList(QString const& path) const override;
    [[nodiscard]] bool exists(QString const& path) const override;

    /** As described for every file system; the root stays, and asking for it is refused. */
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

    /** Writes the whole tree: `serialize("/", handle)`. */
    virtual bool serialize(FileHandle& handle) const;

    /** Replaces the whole tree: `unserialize("/", handle)`. */
    virtual void unserialize(FileHandle& handle);

    /**
     * Writes the directory at `path` and everything in it to a handle of this or another file system. Equal
     * trees give equal bytes. A path that is not a directory's, a file's included, is written as an empty
     * directory.
     *
     * `unserialize` accepts everything that is written. Where it would not, because another thread changes the tree
     * without a lock, nothing is written and the handle fails: closing it leaves a file on disk as it was. `errno` is
     * then EAGAIN.
     *
     * Result: whether everything was written.
     */
    virtual bool serialize(QString const& path, FileHandle& handle) const;

    /**
     * Reads what `serialize` wrote, and puts it in place of what stands at `path`, whose parent must exist.
     * Reading stops exactly after the tree. Memory use stays in proportion to the tree; of a file that is not one
     * only the first bytes are read.
     * Errors: `utils::Exception` for anything that is not a whole, undamaged tree, for a file that cannot be read
     * and for one that is too large for the memory; this file system is then as it was. The message starts with
     * the file's path, where it has one, and tells the three apart:
     *
     *     /home/ada/.config/app/Velmorand.dat: damaged: its checksum does not match
     *     /home/ada/.config/app/Velmorand.dat: cannot be read: Input/output error
     */
    virtual void unserialize(QString const& path, FileHandle& handle);

private:
    friend struct DirectAccess;

    std::unique_ptr<Tree> _tree;
    std::unique_ptr<RAMHandles> _handles;
    std::unique_ptr<LastListing> _lastListing;
};

} // namespace filesystem
