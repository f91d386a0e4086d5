// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "filesystem/Export.h"

namespace filesystem {

class RAMFileSystem;

/**
 * Direct access to the content of an in-memory file system: whole files at once, by UTF-8 paths, without handles,
 * conversion of names or virtual calls. For classes derived from `RAMFileSystem` whose operations must be fast, and
 * other code that knows that the operations of the file system are not overridden.
 *
 * A location is given as a first-level directory and a path below it; as elsewhere, empty levels are ignored.
 * Errors: `utils::Exception` for a path of 2 GiB or more that is not ASCII.
 * Locks: none; the file system's rules apply.
 */
namespace direct {

enum class Kind { none, directory, file };

struct Entry {
    Kind kind;
    std::string_view content; ///< of a file, otherwise empty; valid until the file system is next changed
};

/**
 * The entry at `path` in the first of the directories from `directories` to `end` that contains it; its kind is `none` if
 * no directory does.
 */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT Entry find(RAMFileSystem const& fileSystem,
                                                     std::string_view const* directories,
                                                     std::string_view const* end, std::string_view path);

/** Likewise, with a list of directories. */
[[nodiscard]] inline Entry find(RAMFileSystem const& fileSystem,
                                std::initializer_list<std::string_view> directories, std::string_view path) {
    return find(fileSystem, directories.begin(), directories.end(), path);
}

/**
 * The names of the files or, for `Kind::directory`, of the directories directly in the directory at a location, in
 * ascending byte order. Empty if the location is not a directory.
 * Errors: `std::bad_alloc`.
 * Locks: none; several threads may list directories while none of them changes the file system.
 */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT std::vector<std::string>
list(RAMFileSystem const& fileSystem, std::string_view directory, std::string_view path, Kind kind);

/**
 * Replaces the content of the file at a location with `size` bytes, which the caller fills in. Creates the file if it
 * does not exist.
 * Result: a pointer to the first byte; the bytes must be filled in before the file system is used again. Null, with
 * nothing changed, if the parent directory does not exist, the location is a directory, its name is invalid, or a file
 * cannot hold `size` bytes.
 * Errors: `std::bad_alloc`; nothing has changed.
 */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT char* rewrite(RAMFileSystem& fileSystem, std::string_view directory,
                                                        std::string_view path, std::size_t size);

/**
 * Creates the directory `around` as `makeDirectories` does, then rewrites the file at `path` as `rewrite` does.
 * Result: as for `rewrite`, but directories that were created stay even if it is null.
 * Errors: `std::bad_alloc`; nothing has changed.
 */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT char* make(RAMFileSystem& fileSystem, std::string_view directory,
                                                     std::string_view around, std::string_view path,
                                                     std::size_t size);

/**
 * Creates the directory at a location and its missing parents.
 * Result: whether the directory exists now; false if one of the levels is a file or has an invalid name. In that case
 * the directories above that level have been created.
 * Errors: `std::bad_alloc`; nothing has changed.
 */
VELMORAND_FILESYSTEM_EXPORT bool makeDirectories(RAMFileSystem& fileSystem, std::string_view directory,
                                                 std::string_view path);

/** The new state of a path: a file with this content, or nothing if there is no content. */
struct Change {
    std::string_view path;
    std::optional<std::string_view> content;
};

/**
 * Makes changes below a directory, either all of them or none. Missing directories are created. A directory is removed
 * with everything in it, and each removal also removes the directories around it that become empty, except for the
 * first-level directory. No two changes may have the same path, and no path may be below one that is removed.
 * Result: null, or the first change that cannot be made, with nothing changed: its path is a directory, a file is where
 * a directory is needed, a name is invalid, or a file cannot hold the content.
 * Errors: `std::bad_alloc`; nothing has changed.
 */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT Change const*
apply(RAMFileSystem& fileSystem, std::string_view directory, std::vector<Change> const& changes);

/**
 * A walk through everything below a directory, depth first, a directory before its entries.
 *
 *     for (Walk walk(files, "user"); walk.next();)
 *         if (walk.kind() == Kind::file)
 *             use(walk.path(), walk.content());
 *
 * Order: ascending by the bytes of the whole paths, in which a directory's path ends with "/": the file "a!", the
 * directory "a/", the file "a/x", the file "a0".
 * Cost: a step into a directory sorts its entries, if necessary; any other step takes time in proportion to the names
 * that it leaves and reaches, regardless of the depth. Memory is in proportion to the length of the longest path and to
 * the entries of the directories on it. Nothing recurses.
 * Valid until the file system is next changed; after that, the walk may only be destroyed or assigned to. The same
 * applies to a moved-from walk.
 * Locks: none; several threads may walk through one file system while none of them changes it.
 */
class VELMORAND_FILESYSTEM_EXPORT Walk {
public:
    /**
     * Starts before the first entry below the directory at a location. If the location is not a directory, the walk has
     * no entries.
     * Errors: `std::bad_alloc`, and those of every operation that takes a location.
     */
    explicit Walk(RAMFileSystem const& fileSystem, std::string_view directory, std::string_view path = {});
    Walk(Walk&& other) noexcept;
    Walk& operator=(Walk&& other) noexcept;
    ~Walk();

    /**
     * Moves to the next entry. Result: whether there is one; always false after the last entry.
     * Errors: `std::bad_alloc`; after that, the walk may only be destroyed.
     */
    bool next();

    /** Skips everything in the current entry, if that is a directory. */
    void skip() noexcept;

    /** The kind of the current entry; `none` before the first and after the last. */
    [[nodiscard]] Kind kind() const noexcept;

    /** Whether the current entry is an empty directory. */
    [[nodiscard]] bool isEmptyDirectory() const noexcept;

    /** The content of the current entry if it is a file; empty otherwise. */
    [[nodiscard]] std::string_view content() const noexcept;

    /**
     * The path of the current entry relative to the walk's directory: names separated by one "/", with a trailing "/"
     * for a directory. Valid until the next step.
     */
    [[nodiscard]] std::string_view path() const noexcept;

    /**
     * The offset in `path()` at which the name of the current entry begins. The bytes before it are the same as in the
     * path of the previous entry.
     */
    [[nodiscard]] std::size_t nameBegin() const noexcept;

private:
    struct State;

    std::unique_ptr<State> _state;
};

} // namespace direct

} // namespace filesystem
