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
 * A file on disk that is being replaced, or made. Everything that writes file content to the disk is here.
 *
 * The new content goes to a temporary file beside the old one (`TemporaryNames`). The process holds a lock on
 * it while it works on it, so a temporary file whose lock can be taken was left by a process that was killed;
 * `begin` removes those of its own file. On a file system without locks (`flock`) they cannot be told apart and
 * stay.
 *
 * A symbolic link at the path is resolved once, by `begin`; the link stays and its target is replaced.
 */
class Replacement {
public:
    /**
     * Begins to replace the file at `path`, or to make it in its directory, which must exist.
     * Result: null when the path leads to something other than a regular file, or to a file that may not be
     * written; `errno` says why.
     */
    [[nodiscard]] static std::unique_ptr<Replacement> begin(std::string const& path);

    Replacement(Replacement const&) = delete;
    Replacement& operator=(Replacement const&) = delete;

    /** Without a successful `commit`: removes the temporary file; the old one is as it was. */
    ~Replacement();

    /**
     * Writes at the position and moves it on.
     * Result: the bytes moved. Once some were not, no more are written and `commit` fails.
     */
    long write(void const* bytes, long count);

    /** Moves the position, to 0 at least and `size()` at most. */
    void seek(::off_t position) noexcept { _position = position; }

    [[nodiscard]] ::off_t tell() const noexcept { return _position; }
    [[nodiscard]] ::off_t size() const noexcept { return _size; }
    [[nodiscard]] int descriptor() const noexcept { return _file.isOpen() ? _file.number() : _lock.number(); }

    /**
     * Makes the new content durable, ahead of `commit`; nothing can be written after it.
     * Result: false when that failed, or an earlier write; `errno` says why.
     */
    bool settle();

    /**
     * Makes the new content durable and moves it over the old one; the last call before destruction.
     * Result: false when a step failed, now or in an earlier write; `errno` says why. The old content is then
     * in place, except when the last step failed, making the move itself durable: the new content is in place
     * then, but may be lost with the power.
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
    std::string _temporary; // its name; empty before it is made and after it is moved or removed
    Descriptor _file;
    Descriptor _lock;    // holds the lock once `_file` is closed
    std::string _buffer; // the last bytes written, for `_bufferStart` and on
    ::off_t _bufferStart = 0;
    ::off_t _position = 0;
    ::off_t _size = 0;
    int _error = 0; // the `errno` of the write that failed
};

} // namespace filesystem
