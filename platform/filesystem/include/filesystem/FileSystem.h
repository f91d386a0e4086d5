// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <set>
#include <string>

#include <QString>

#include "filesystem/DirEntry.h"
#include "filesystem/Export.h"
#include "filesystem/FileHandle.h"

namespace filesystem {

/**
 * A tree of directories and files, accessed by path.
 *
 * The operations that every kind of file system must implement are pure virtual. The others are implemented here in
 * terms of them, and are virtual as well, so that a derived class can observe or replace any of them. Their order is
 * part of the binary interface and does not change.
 *
 * Paths: levels separated by "/"; empty levels and a trailing "/" are ignored ("/a//b/" is "/a/b"). "." and ".." are
 * not resolved: no path reaches them.
 *
 * Handles: every operation accepts a null handle and a handle of another file system, and fails or reads nothing. A
 * handle opened for reading cannot write, and one opened for writing cannot read. Positions and sizes are in bytes.
 *
 * Numbers are little-endian on every machine.
 *
 * Errors: the result reports expected failures. Operations throw only the exceptions that they document and
 * `std::bad_alloc`.
 *
 * Locks: none. If several threads use one file system, the caller must lock, except that `const` operations may run
 * concurrently.
 */
class VELMORAND_FILESYSTEM_EXPORT FileSystem {
public:
    enum FileSystemMode : int {
        MODE_READ = 0,  ///< an existing file, from its start
        MODE_WRITE = 1, ///< a new, empty file, which replaces an existing one
    };

    enum FileSystemOrigin : int {
        ORIGIN_BEGIN = 0,
        ORIGIN_CURRENT = 1,
        ORIGIN_END = 2,
    };

    FileSystem();
    FileSystem(FileSystem const&) = delete;
    FileSystem& operator=(FileSystem const&) = delete;

    /** Releases all handles that have not been closed. May throw, because a derived class's destructor may. */
    virtual ~FileSystem() noexcept(false);

    /** The entries directly inside a directory, both files and subdirectories; empty for anything else. */
    [[nodiscard]] virtual std::set<DirEntry> getFileList(QString const& path) const = 0;

    /** Whether a file or a directory exists at `path`. */
    [[nodiscard]] virtual bool exists(QString const& path) const = 0;

    /** Removes a file, or a directory with everything in it. False if it still exists or never existed. */
    virtual bool remove(QString const& path) = 0;

    /** Creates one directory, whose parent must exist. False if it was not created, even if it existed already. */
    virtual bool mkdir(QString const& path) = 0;

    /**
     * Opens a file and stores its handle in `*handle`. Opening for writing creates a missing file in an existing
     * directory. False, with `*handle` set to null, if the file cannot be opened, is a directory, or `mode` is not one
     * of the two. False for a null `handle` as well.
     */
    virtual bool open(QString const& path, FileHandle** handle, FileSystemMode mode) = 0;

    /**
     * Closes a file and releases its handle. True on success: for a file on disk that was opened for writing, if the
     * new content is in place and durable. False for a null handle.
     */
    virtual bool close(FileHandle* handle) = 0;

    /**
     * Reads up to `count` bytes into `buffer`.
     * Result: the number of bytes read. If it is less than `count`, `errno` is 0 at the end of the file, and the reason
     * on failure.
     */
    virtual long read(FileHandle* handle, void* buffer, long count) = 0;

    /**
     * Writes `count` bytes from `buffer` at the handle's position. With a null buffer the write fails.
     * Result: the number of bytes written, less than `count` on failure.
     */
    virtual long write(FileHandle* handle, void const* buffer, long count) = 0;

    /**
     * Moves the handle's position to `offset` bytes from `origin`. A position before the start or after the end is
     * refused: the result is false, and the position is unchanged.
     */
    virtual bool seek(FileHandle* handle, long offset, FileSystemOrigin origin) = 0;

    /** The handle's position in bytes; -1 on failure, or if `long` has 32 bits and the position does not fit. */
    [[nodiscard]] virtual long tell(FileHandle* handle) = 0;

    /**
     * The size in bytes of the open file; -1 as for `tell`. The position is unchanged, unless the file has become
     * shorter: then it moves to the end.
     */
    [[nodiscard]] virtual long size(FileHandle* handle);

    /** The size in bytes of the file at `path`; -1 if it cannot be opened for reading, and as for `tell`. */
    [[nodiscard]] virtual long size(QString const& path);

    /** The next byte; 0 at the end of the file. */
    [[nodiscard]] virtual char readByte(FileHandle* handle);

    /** The next 2 bytes as a number; 0 if fewer are left, which are then skipped. */
    [[nodiscard]] virtual short readShort(FileHandle* handle);

    /** The next 4 bytes as a number; 0 if fewer are left, which are then skipped. */
    [[nodiscard]] virtual int readInt(FileHandle* handle);

    /**
     * The next 4 bytes as a binary32 number; 0 if fewer are left, which are then skipped. On i386, where numbers are
     * passed in floating-point registers, a signalling NaN becomes a quiet one, here and in `writeFloat`.
     */
    [[nodiscard]] virtual float readFloat(FileHandle* handle);

    /**
     * The next `count` bytes, or as many as are left; empty for a negative count. Allocates no more bytes than the file
     * has left, however large `count` is; if `size` fails, at most 64 KiB or twice the number of bytes read, whichever
     * is larger.
     */
    [[nodiscard]] virtual std::string readBytes(FileHandle* handle, int count);

    /** Moves the position by `count` bytes, backwards for a negative count, but not beyond the start or the end. */
    virtual void skip(FileHandle* handle, int count);

    ///@{
    /** Writes a number. A failure is not reported here; for a file on disk, `close` then fails. */
    virtual void writeByte(FileHandle* handle, char value);
    virtual void writeShort(FileHandle* handle, short value);
    virtual void writeInt(FileHandle* handle, int value);
    virtual void writeFloat(FileHandle* handle, float value);
    ///@}

    /**
     * Loads the shared object at `path` into the process.
     * Result: a module for `getSymbolAddress`, which the caller must return with `unloadModule`; null on failure.
     */
    [[nodiscard]] virtual void* loadModule(QString const& path) = 0;

    /** Unloads a module. False on failure and for null. */
    virtual bool unloadModule(void* module) = 0;

    /** The address of a symbol that a module exports; null if it does not export it, and for a null module. */
    [[nodiscard]] virtual void* getSymbolAddress(void* module, QString const& symbol) = 0;

    /**
     * A path in `directory` at which nothing exists: `directory`, "/", `prefix`, a number and `suffix`. Creates
     * nothing. Empty if the first million names are taken, or if the first one is and `directory` is not a directory.
     */
    [[nodiscard]] virtual QString getUniqueFileName(QString const& directory, QString const& prefix,
                                                    QString const& suffix);

    /** Whether a directory exists at `path`. */
    [[nodiscard]] virtual bool isDirectory(QString const& path) const = 0;

    /** Whether a file exists at `path`. */
    [[nodiscard]] virtual bool isFile(QString const& path) const = 0;
};

} // namespace filesystem
