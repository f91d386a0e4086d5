// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <sys/stat.h>

#include "Descriptor.h"
#include "TemporaryNames.h"

namespace filesystem {

/**
 * Replaces or creates a file on disk, atomically. The only class that writes file content to disk.
 *
 * The new content goes to a temporary file in the same directory (`TemporaryNames`). The process locks that file while
 * it uses it, so a temporary file that is not locked was left behind by a killed process; `begin` removes such files if
 * they belong to the same file. On a file system without locks (`flock`) they cannot be recognised, and are never
 * removed.
 *
 * A symbolic link at the path is resolved once, by `begin`. The link stays, and its target is replaced.
 */
class Replacement {
public:
    /**
     * Begins to replace or create the file at `path`. Its directory must exist.
     * Result: null if the path is not a regular file, or the file may not be written; `errno` has the reason.
     */
    [[nodiscard]] static std::unique_ptr<Replacement> begin(std::string const& path);

    Replacement(Replacement const&) = delete;
    Replacement& operator=(Replacement const&) = delete;

    /** Unless `commit` succeeded: removes the temporary file; the old file is unchanged. */
    ~Replacement();

    /**
     * Writes at the position and advances it.
     * Result: the number of bytes written. After a failure nothing more is written, and `commit` fails.
     */
    long write(void const* bytes, long count);

    /** Sets the position, from 0 to `size()`. */
    void seek(::off_t position) noexcept { _position = position; }

    [[nodiscard]] ::off_t tell() const noexcept { return _position; }
    [[nodiscard]] ::off_t size() const noexcept { return _size; }
    [[nodiscard]] int descriptor() const noexcept { return _file.isOpen() ? _file.number() : _lock.number(); }

    /**
     * Makes the new content durable before `commit`. Nothing can be written afterwards. After a failure, `commit` must
     * not be called.
     * Result: false if this or an earlier write failed; `errno` has the reason.
     */
    bool settle();

    /**
     * Makes the new content durable, and replaces the old file with it. Must be the last call before destruction.
     * Result: false if this or an earlier write failed; `errno` has the reason. The old content is then still in place,
     * unless only the last step failed, making the rename durable: then the new content is in place, but a power loss
     * may undo that.
     */
    bool commit();

private:
    struct Target {
        Descriptor directory;
        std::string name;
    };

    explicit Replacement(Target target);

    static std::optional<Target> resolve(std::string const& path);
    static bool step(Target& target, std::string const& path);

    void discard() noexcept;
    bool examine();
    void clearStale() const;
    void removeIfStale(std::string const& name) const;
    bool makeTemporary();
    [[nodiscard]] bool lockTemporary() const;
    [[nodiscard]] bool isAt(int file, std::string const& name) const;
    long writeThrough(std::string_view bytes, ::off_t position);
    bool flush();
    [[nodiscard]] bool keepRights() const;
    [[nodiscard]] bool isMoveDurable() const;

    Target _target;
    Descriptor _old; // the file to be replaced; not open for a new file
    TemporaryNames _names;
    std::string _temporary; // the name of the temporary file; empty if it does not exist
    Descriptor _file;
    Descriptor _lock;    // holds the lock once `_file` is closed
    std::string _buffer; // the last bytes written, at offset `_bufferStart`
    ::off_t _bufferStart = 0;
    ::off_t _position = 0;
    ::off_t _size = 0;
    int _error = 0; // the `errno` of the write that failed
};

} // namespace filesystem
