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
 * A tree of directories and files in the form of a register file's bytes, checked and indexed: for comparing and
 * merging trees without building them. It never changes.
 *
 * Threads: any number of threads may use one image at once.
 */
class VELMORAND_FILESYSTEM_EXPORT TreeImage {
public:
    /** An empty tree. */
    TreeImage();

    /**
     * Takes the content of a register file. Bytes after the tree are dropped.
     * Errors: `NewerFormat`; `utils::Exception` with the reason for any other content that is not a complete, intact
     * tree. Memory use is in proportion to `bytes`.
     */
    explicit TreeImage(std::string bytes);

    /**
     * The same, but does not check again the parts that the content has in common with `similar`: much faster if that
     * is most of it.
     */
    TreeImage(std::string bytes, TreeImage const& similar);

    // Copies share the bytes. Moving copies, so that every image always has them.
    TreeImage(TreeImage const& other) = default;
    TreeImage& operator=(TreeImage const& other) = default;
    ~TreeImage() = default;

    /** The directory at an absolute path of an in-memory file system; an empty tree if the directory does not exist. */
    [[nodiscard]] static TreeImage of(RAMFileSystem const& fileSystem, std::string const& path);

    /**
     * Replaces the entry at an absolute path of an in-memory file system with the tree.
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
     * The changes that turn this tree into `other`, in tree order. A directory that exists in only one of them is a
     * change of its own, before the changes of its entries.
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
     * This tree with changes, which must be in tree order and name each path once. If a path is a file for one change
     * and a directory for another, the change that is higher in the tree takes precedence.
     */
    [[nodiscard]] TreeImage with(std::vector<TreeChange> const& changes) const;

private:
    explicit TreeImage(std::shared_ptr<IndexedTree const> tree);

    std::shared_ptr<IndexedTree const> _tree; ///< never null
};

} // namespace filesystem
