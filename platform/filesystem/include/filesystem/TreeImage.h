// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <utils/Exception.h>

#include "filesystem/Export.h"

namespace filesystem {

struct IndexedTree;
class RAMFileSystem;

/** Thrown for a register file in a later format version, which this library cannot read. */
class VELMORAND_FILESYSTEM_EXPORT NewerFormat : public utils::Exception {
public:
    using Exception::Exception;
    NewerFormat(NewerFormat const&) = default;
    NewerFormat& operator=(NewerFormat const&) = default;
    ~NewerFormat() override;
};

/** One difference between two trees, or one change to a tree. */
struct TreeChange {
    enum class Kind {
        removed,   ///< removes the entry at the path; a directory is removed only if it is left empty
        file,      ///< a file with `content` replaces any entry; missing parent directories are created
        directory, ///< a directory replaces a file, if one exists; missing parent directories are created
    };

    std::string path; ///< UTF-8, relative to the tree, levels joined by single "/"
    Kind kind;
    std::string content;
};

/**
 * A tree of directories and files, held as the bytes of a register file that have been checked and indexed, so that
 * trees can be compared and merged without being built. Immutable.
 *
 * Threads: any number of threads may use one image at once.
 */
class VELMORAND_FILESYSTEM_EXPORT TreeImage {
public:
    /** An empty tree. */
    TreeImage();

    /**
     * Takes the content of a register file. Ignores bytes after the tree.
     * Errors: `NewerFormat`; `utils::Exception` with the reason for any other content that is not a complete, intact
     * tree of at most 4 GiB. Memory use is in proportion to `bytes`.
     */
    explicit TreeImage(std::string bytes);

    /**
     * The same, but the parts at the beginning and the end that are equal in `similar` are not checked again: much
     * faster if they are most of the content.
     */
    TreeImage(std::string bytes, TreeImage const& similar);

    // Copies share the bytes. A move is a copy, so that a moved-from image is still valid.
    TreeImage(TreeImage const& other) = default;
    TreeImage& operator=(TreeImage const& other) = default;
    ~TreeImage() = default;

    /**
     * The directory at an absolute path of an in-memory file system; an empty tree if the directory does not exist.
     * Errors: `utils::Exception` if another thread has changed the directory without a lock; `std::bad_alloc`.
     */
    [[nodiscard]] static TreeImage of(RAMFileSystem const& fileSystem, std::string const& path);

    /**
     * Replaces the entry at an absolute path of an in-memory file system with this tree.
     * Errors: `utils::Exception` if a directory cannot be created there, `std::bad_alloc`; nothing has changed.
     */
    void putInto(RAMFileSystem& fileSystem, std::string const& path) const;

    /**
     * The bytes of the register file: a view, valid as long as this object or a copy of it exists. Equal trees created
     * by this library have equal bytes.
     */
    [[nodiscard]] std::string_view bytes() const noexcept;

    /** The number of files in the tree. Takes time in proportion to all entries. */
    [[nodiscard]] std::size_t fileCount() const noexcept;

    /**
     * The changes that turn this tree into `other`, in tree order. A directory that exists in only one of the trees is
     * a separate change, which precedes the changes of its entries.
     */
    [[nodiscard]] std::vector<TreeChange> differencesTo(TreeImage const& other) const;

    /**
     * The same for one path: the changes that turn everything at and below `path` into nothing, a file, or a directory
     * with a tree. The empty path, for the whole tree, is allowed only with a directory.
     */
    [[nodiscard]] std::vector<TreeChange> differencesToNothing(std::string const& path) const;
    [[nodiscard]] std::vector<TreeChange> differencesToFile(std::string const& path,
                                                            std::string_view content) const;
    [[nodiscard]] std::vector<TreeChange> differencesToDirectory(std::string const& path,
                                                                 TreeImage const& tree) const;

    /**
     * This tree with changes, which must be in tree order and name each path once. If one change puts a file at a path
     * and others put entries below it, the file takes precedence.
     * Errors: `utils::Exception` if the result is larger than 4 GiB; `std::bad_alloc`.
     */
    [[nodiscard]] TreeImage with(std::vector<TreeChange> const& changes) const;

private:
    explicit TreeImage(std::shared_ptr<IndexedTree const> tree);

    std::shared_ptr<IndexedTree const> _tree; ///< never null
};

} // namespace filesystem
