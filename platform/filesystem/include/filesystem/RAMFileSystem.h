// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "filesystem/FileSystem.h"

namespace filesystem {

class LastListing;
class RAMHandles;
class Tree;

/**
 * A file system in memory.
 *
 * Paths are absolute; a name is any Unicode text except "", ".", ".." and text that contains "/". A name with unpaired
 * surrogates is invalid: it does not exist and cannot be created.
 *
 * A file may be removed, replaced or opened again for writing while a handle is open on it. The handle stays valid: it
 * reads the current content, or nothing once the file has been removed or replaced. A handle does not keep the content
 * of a removed file in memory. A file holds less than 4 GiB, or 2 GiB on a 32-bit machine; a write beyond that is
 * short.
 *
 * Every operation takes time and memory in proportion to its path and to the entries and bytes that it lists, removes
 * or copies, regardless of the number of files. No operation recurses on the depth of the tree.
 */
class VELMORAND_FILESYSTEM_EXPORT RAMFileSystem : public FileSystem {
public:
    /** An empty tree: only the root, "/". */
    RAMFileSystem();
    ~RAMFileSystem() noexcept(false) override;

    [[nodiscard]] std::set<DirEntry> getFileList(QString const& path) const override;
    [[nodiscard]] bool exists(QString const& path) const override;

    /** As described for every file system. The root cannot be removed: the result is false. */
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
     * Writes the directory at `path` and everything in it to a handle of this or another file system. Equal trees give
     * equal bytes. If `path` is not a directory, for example a file, an empty directory is written.
     *
     * The output is checked before it is written. If `unserialize` would reject it, because another thread has changed
     * the tree without a lock, nothing is written, and closing the handle of a file on disk leaves the file unchanged.
     * `errno` is then EAGAIN.
     *
     * Result: whether everything was written.
     */
    virtual bool serialize(QString const& path, FileHandle& handle) const;

    /**
     * Reads the output of `serialize` and replaces the entry at `path`, whose parent must exist. Reading stops exactly
     * after the tree. Memory use is in proportion to the tree; if the file does not contain a tree, only its first
     * bytes are read.
     * Errors: `utils::Exception` for content that is not a complete, intact tree, for a file that cannot be read, and
     * for a tree that does not fit into memory; `std::bad_alloc`. This file system is then unchanged. The message
     * starts with the file's path, if it has one, and gives the reason:
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
