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
 * A tree of directories and files, reached by path.
 *
 * The operations that a kind of file system answers by itself are pure; the rest are built on them here and
 * are virtual too, so that a derived class can watch or replace any of them. Their order is part of the
 * binary interface and stays.
 *
 * Paths: levels joined by "/"; empty levels and a trailing "/" mean nothing ("/a//b/" is "/a/b"). "." and
 * ".." are not resolved: no path reaches them.
 *
 * Handles: a null handle, or one that belongs to another file system, is safe everywhere and reads as
 * nothing. A handle opened for reading cannot be written through, and the other way round. Positions and
 * sizes are in bytes.
 *
 * Numbers are little-endian on every machine.
 *
 * Errors: expected failures are results; the operations throw only what they say, and `std::bad_alloc`.
 *
 * Locks: none. Operations on one file system from several threads need a lock of the caller's, except that
 * `const` operations may run side by side.
 */
class VELMORAND_FILESYSTEM_EXPORT FileSystem {
public:
    enum FileSystemMode : int {
        MODE_READ = 0,  ///< an existing file, from its start
        MODE_WRITE = 1, ///< a new, empty file, in place of what stood at the path
    };

    enum FileSystemOrigin : int {
        ORIGIN_BEGIN = 0,
        ORIGIN_CURRENT = 1,
        ORIGIN_END = 2,
    };

    FileSystem();
    FileSystem(FileSystem const&) = delete;
    FileSystem& operator=(FileSystem const&) = delete;

    /** Releases every handle that was never given back. May throw, since a derived class's may. */
    virtual ~FileSystem() noexcept(false);

    /** The entries directly inside a directory, files and subdirectories alike; empty for anything else. */
    [[nodiscard]] virtual std::set<DirEntry> getFileList(QString const& path) const = 0;

    /** Whether a file or a directory stands at `path`. */
    [[nodiscard]] virtual bool exists(QString const& path) const = 0;

    /** Removes a file, or a directory with all that is in it. False when nothing was removed. */
    virtual bool remove(QString const& path) = 0;

    /** Makes one directory, whose parent must exist. False when it was not made, even if it was there already. */
    virtual bool mkdir(QString const& path) = 0;

    /**
     * Opens a file and stores its handle in `*handle`. Opening for writing makes a missing file in an
     * existing directory. False, with `*handle` set to null, when the file cannot be opened, is a directory,
     * or `mode` is neither of the two. False for a null `handle` as well.
     */
    virtual bool open(QString const& path, FileHandle** handle, FileSystemMode mode) = 0;

    /**
     * Gives a handle back. True when all is well: for a file being written on disk, when the new content is
     * in place. False for a null handle.
     */
    virtual bool close(FileHandle* handle) = 0;

    /**
     * Reads up to `count` bytes into `buffer`.
     * Result: the bytes moved. When they are fewer than `count`, `errno` is 0 at the end of the file, and says why
     * on failure.
     */
    virtual long read(FileHandle* handle, void* buffer, long count) = 0;

    /**
     * Writes `count` bytes from `buffer` at the handle's position. With a null buffer the write fails.
     * Result: the bytes moved, fewer on failure.
     */
    virtual long write(FileHandle* handle, void const* buffer, long count) = 0;

    /**
     * Moves the handle's position to `offset` bytes from `origin`. A position before the start or past the
     * end is refused: false, and the position stays.
     */
    virtual bool seek(FileHandle* handle, long offset, FileSystemOrigin origin) = 0;

    /** The handle's position in bytes; -1 on failure, and where a `long` has 32 bits and the position needs more. */
    [[nodiscard]] virtual long tell(FileHandle* handle) = 0;

    /**
     * The size in bytes of the open file; -1 as from `tell`. The position stays, unless the file has become
     * shorter: then it moves to the end.
     */
    [[nodiscard]] virtual long size(FileHandle* handle);

    /** The size in bytes of the file at `path`; -1 when it cannot be opened for reading, and as from `tell`. */
    [[nodiscard]] virtual long size(QString const& path);

    /** The next byte; 0 at the end of the file. */
    [[nodiscard]] virtual char readByte(FileHandle* handle);

    /** The next 2 bytes as a number; 0 when fewer are left, which are then passed over. */
    [[nodiscard]] virtual short readShort(FileHandle* handle);

    /** The next 4 bytes as a number; 0 when fewer are left, which are then passed over. */
    [[nodiscard]] virtual int readInt(FileHandle* handle);

    /**
     * The next 4 bytes as a binary32 number; 0 when fewer are left, which are then passed over. On i386, where
     * floating-point registers hand numbers on, a signalling NaN becomes a quiet one, here and in `writeFloat`.
     */
    [[nodiscard]] virtual float readFloat(FileHandle* handle);

    /**
     * The next `count` bytes, fewer at the end of the file; empty for a negative count, and where `size` fails.
     * Allocates no more than the file holds, however large `count` is.
     */
    [[nodiscard]] virtual std::string readBytes(FileHandle* handle, int count);

    /** Moves the position by `count` bytes, back for a negative count, to the start or the end at most. */
    virtual void skip(FileHandle* handle, int count);

    virtual void writeByte(FileHandle* handle, char value);
    virtual void writeShort(FileHandle* handle, short value);
    virtual void writeInt(FileHandle* handle, int value);
    virtual void writeFloat(FileHandle* handle, float value);

    /**
     * Loads the shared object at `path` into the process.
     * Result: a module for `getSymbolAddress` and `unloadModule`, which the caller gives back; null on
     * failure.
     */
    [[nodiscard]] virtual void* loadModule(QString const& path) = 0;

    /** Gives a module back. False on failure and for null. */
    virtual bool unloadModule(void* module) = 0;

    /** The address of a symbol that a module exports; null if it does not export it, and for a null module. */
    [[nodiscard]] virtual void* getSymbolAddress(void* module, QString const& symbol) = 0;

    /**
     * A path in `directory` at which nothing exists: `directory`, "/", `prefix`, a number and `suffix`.
     * Nothing is made there. Empty when all of a million names exist, or when a name seems to exist although
     * `directory` is not a directory.
     */
    [[nodiscard]] virtual QString getUniqueFileName(QString const& directory, QString const& prefix,
                                                    QString const& suffix);

    /** Whether a directory stands at `path`. */
    [[nodiscard]] virtual bool isDirectory(QString const& path) const = 0;

    /** Whether a file stands at `path`. */
    [[nodiscard]] virtual bool isFile(QString const& path) const = 0;
};

} // namespace filesystem
