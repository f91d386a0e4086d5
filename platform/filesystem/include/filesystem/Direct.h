// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "filesystem/Export.h"

namespace filesystem {

class RAMFileSystem;

/**
 * Direct access to what a file system in memory holds: whole files at once, by UTF-8 paths, with no handle,
 * no conversion of names and no virtual call. For a class derived from `RAMFileSystem` whose own operations
 * must be fast and that knows that nothing overrides the file system's.
 *
 * A place is given as a first-level directory and a path below it, as elsewhere: empty levels mean nothing.
 * Errors: `utils::Exception` for a path of 2 GiB or more that is not ASCII.
 * Locks: none; the rules are the file system's.
 */
namespace direct {

enum class Kind { none, directory, file };

struct Entry {
    Kind kind;
    std::string_view content; ///< of a file; valid until the file system is next changed
};

/** What stands at `path` in the first of these directories that have something there. */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT Entry find(RAMFileSystem const& fileSystem,
                                                     std::initializer_list<std::string_view> directories,
                                                     std::string_view path);

/**
 * Gives the file at a place, which is made when it is missing, a content of `size` bytes.
 * Result: the first of them, for the caller to fill before the file system is used again; null, with nothing
 * changed, when the directory around the place is missing, the place is a directory, its name is invalid, or the
 * size is more than a file can hold.
 * Errors: `std::bad_alloc`; nothing has changed.
 */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT char* rewrite(RAMFileSystem& fileSystem, std::string_view directory,
                                                        std::string_view path, std::size_t size);

/**
 * Makes the directory `around`, as `makeDirectories` does, and then gives the file at `path` a content, as
 * `rewrite` does.
 * Errors: `std::bad_alloc`; nothing has changed.
 */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT char* make(RAMFileSystem& fileSystem, std::string_view directory,
                                                     std::string_view around, std::string_view path,
                                                     std::size_t size);

/**
 * Makes the directory at a place and those above it that are missing.
 * Result: whether it is there; false when a file is in the way or a name is invalid; those above it are made.
 * Errors: `std::bad_alloc`; nothing has changed.
 */
VELMORAND_FILESYSTEM_EXPORT bool makeDirectories(RAMFileSystem& fileSystem, std::string_view directory,
                                                 std::string_view path);

/** What is to be at a path: a file with this content or, without one, nothing. */
struct Change {
    std::string_view path;
    std::optional<std::string_view> content;
};

/**
 * Makes changes below a directory, all of them or none. Missing directories are made. A removed directory goes with
 * everything in it, and after each removal go the directories around it that are empty then, up to the first level. No
 * two changes may have the same path, and no path may be below one that is removed.
 * Result: null, or the first change that cannot be made, with nothing changed: a directory is at its path, a file is
 * where a directory is needed, a name is invalid, or the size is more than a file can hold.
 * Errors: `std::bad_alloc`; nothing has changed.
 */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT Change const*
apply(RAMFileSystem& fileSystem, std::string_view directory, std::vector<Change> const& changes);

/**
 * A walk through everything below a directory, depth first, a directory before what is in it.
 *
 *     for (Walk walk(files, "user"); walk.next();)
 *         if (walk.kind() == Kind::file)
 *             use(walk.path(), walk.content());
 *
 * Order: ascending by the bytes of the whole paths, in which a directory's path ends with "/": the file "a", the
 * file "a!", the directory "a/", the file "a/x".
 * Cost: a step takes time in proportion to the names that it leaves and reaches, whatever the depth; memory is in
 * proportion to the longest path and to the directories on it. Nothing recurses.
 * Valid until the file system is next changed: after that, only destroy it. Moved-from walks likewise.
 * Locks: none; several threads may walk through one file system while none of them changes it.
 */
class VELMORAND_FILESYSTEM_EXPORT Walk {
public:
    /**
     * Before the first entry below the directory at a place; the walk of anything else has no entries.
     * Errors: `std::bad_alloc`, and those of every place.
     */
    explicit Walk(RAMFileSystem const& fileSystem, std::string_view directory, std::string_view path = {});
    Walk(Walk&& other) noexcept;
    Walk& operator=(Walk&& other) noexcept;
    ~Walk();

    /**
     * Goes on to the next entry. Result: whether there is one. After the last one it stays false.
     * Errors: `std::bad_alloc`; the walk can only be destroyed then.
     */
    bool next();

    /** Leaves out what is in the current entry, a directory: the next entry is the one after all of it. */
    void skip() noexcept;

    /** The kind of the current entry; `none` before the first and after the last. */
    [[nodiscard]] Kind kind() const noexcept;

    /** Whether the current entry is a directory with nothing in it. */
    [[nodiscard]] bool isEmptyDirectory() const noexcept;

    /** The content of the current entry, a file; empty for all else. */
    [[nodiscard]] std::string_view content() const noexcept;

    /**
     * The path of the current entry from the walk's directory: names with one "/" between them, and another
     * after that of a directory. It lasts until the next step.
     */
    [[nodiscard]] std::string_view path() const noexcept;

    /** Where the current entry's own name begins in `path()`: all bytes before it are those of the last step. */
    [[nodiscard]] std::size_t nameBegin() const noexcept;

private:
    struct State;

    std::unique_ptr<State> _state;
};

} // namespace direct

} // namespace filesystem
