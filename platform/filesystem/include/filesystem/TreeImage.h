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

/** A register file in a format version that this library does not read yet. */
class VELMORAND_FILESYSTEM_EXPORT NewerFormat : public utils::Exception {
public:
    using Exception::Exception;
    NewerFormat(NewerFormat const&) = default;
    NewerFormat& operator=(NewerFormat const&) = default;
    ~NewerFormat() override;
};

/** One difference between two trees, or one change of a tree. */
struct TreeChange {
    enum class Kind {
        removed,   ///< nothing is left at the path; a directory goes only if nothing is left in it
        file,      ///< a file with `content`, in place of whatever is there; directories around it are made
        directory, ///< a directory, in place of a file if there is one; directories around it are made
    };

    std::string path; ///< UTF-8, relative to the tree, levels joined by single "/"
    Kind kind;
    std::string content;
};

/**
 * A tree of directories and files as the bytes of a register file, checked and indexed: for comparing and
 * merging trees without building them. It never changes.
 *
 * Threads: one image may be used by any number of threads at once.
 */
class VELMORAND_FILESYSTEM_EXPORT TreeImage {
public:
    /** An empty tree. */
    TreeImage();

    /**
     * Takes the content of a register file. What follows the tree is dropped.
     * Errors: `NewerFormat`; `utils::Exception` with what is wrong for anything else that is not a whole,
     * undamaged tree. Memory stays in proportion to `bytes`.
     */
    explicit TreeImage(std::string bytes);

    /**
     * Reads the same way, but does not examine again what the content has in common with `similar`: far faster if that
     * is most of it.
     */
    TreeImage(std::string bytes, TreeImage const& similar);

    // Copies share the bytes. A move is a copy, so that no image is ever without them.
    TreeImage(TreeImage const& other) = default;
    TreeImage& operator=(TreeImage const& other) = default;
    ~TreeImage() = default;

    /** The directory at an absolute path of an in-memory file system; an empty tree if it does not exist. */
    [[nodiscard]] static TreeImage of(RAMFileSystem const& fileSystem, std::string const& path);

    /**
     * Puts the tree in place of what is at an absolute path of an in-memory file system.
     * Errors: `utils::Exception` if no directory can be made there, `std::bad_alloc`; nothing has changed.
     */
    void putInto(RAMFileSystem& fileSystem, std::string const& path) const;

    /**
     * The register file: a view, valid as long as this object or a copy lives. Equal trees made by this library have
     * equal bytes.
     */
    [[nodiscard]] std::string_view bytes() const noexcept;

    /** The number of files in the tree. Takes time in proportion to all entries. */
    [[nodiscard]] std::size_t fileCount() const noexcept;

    /**
     * What makes the other tree of this one, sorted as a tree is walked. A directory that is only in one of them
     * is a change of its own, before those of what is in it.
     */
    [[nodiscard]] std::vector<TreeChange> differencesTo(TreeImage const& other) const;

    /**
     * The same for one path: what makes of what this tree has at `path` and below it nothing, a file, or a
     * directory with a tree. The empty path, for the whole tree, goes with a directory only.
     */
    [[nodiscard]] std::vector<TreeChange> differencesToNothing(std::string const& path) const;
    [[nodiscard]] std::vector<TreeChange> differencesToFile(std::string const& path,
                                                            std::string_view content) const;
    [[nodiscard]] std::vector<TreeChange> differencesToDirectory(std::string const& path,
                                                                 TreeImage const& tree) const;

    /**
     * This tree with changes, which are sorted as a tree is walked and name each path once. If a path is a file
     * for one change and a directory for another, the one that is higher in the tree counts.
     */
    [[nodiscard]] TreeImage with(std::vector<TreeChange> const& changes) const;

private:
    explicit TreeImage(std::shared_ptr<IndexedTree const> tree);

    std::shared_ptr<IndexedTree const> _tree; ///< never null
};

} // namespace filesystem
