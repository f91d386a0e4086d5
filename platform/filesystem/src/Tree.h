// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "Journal.h"
#include "Node.h"
#include "NodePool.h"
#include "PathIndex.h"
#include "TreePath.h"
#include "Words.h"
#include "filesystem/EntryNotice.h"

namespace filesystem {

/**
 * A tree of directories and files in memory.
 *
 * Each node stores its parent, its index among the parent's children and the hash of its path. One flat index finds
 * nodes by their whole paths, in time independent of the number of nodes. Nothing here recurses.
 */
class Tree {
public:
    static constexpr NodeId root = noNode + 1;

    Tree();

    [[nodiscard]] Node& operator[](NodeId id) noexcept { return _nodes[id]; }
    [[nodiscard]] Node const& operator[](NodeId id) const noexcept { return _nodes[id]; }

    /** Sets the journal to which all changes are reported; null for none. */
    void setJournal(Journal* journal) noexcept { _journal = journal; }
    [[nodiscard]] Journal* journal() const noexcept { return _journal; }

    /** Sets the counter of changes. */
    void countIn(std::atomic<std::uint64_t>& counter) noexcept { _changes = &counter; }

    /** Sets the function to call before entries are added to first-level directories; null for none. */
    void setNotice(EntryNotice notice) noexcept { _notice = notice; }

    /** Counts a change of a file's content. The tree itself counts added and removed entries. */
    void count() noexcept {
        _changes->store(_changes->load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }

    /** Must be called before the content of a file changes. */
    void touch(NodeId id) noexcept {
        count();
        if (__builtin_expect(_journal != nullptr, 0))
            _journal->touch(id);
    }

    /** Changes whenever an entry is added or removed. */
    [[nodiscard]] std::uint64_t version() const noexcept { return _version; }

    /** The node at `path`; `noNode` if there is none. */
    [[nodiscard]] NodeId find(TreePath const& path) const;

    /**
     * Finds the node at `rest` below the first-level directory `first`. `rest` must not be empty; `restHash` is its hash.
     * Result: null if the node does not exist.
     */
    [[nodiscard]] Node const* findBelow(std::string_view first, std::string_view rest,
                                        std::uint64_t restHash) const;

    /**
     * The children of a directory in ascending byte order of their names; valid until the tree changes. Several threads
     * may call it at once: a mutex of the process guards the sorting. No other lock is taken under it.
     */
    [[nodiscard]] std::vector<NodeId> const& children(NodeId directory);

    /**
     * Whether the children of a directory are known to be in ascending byte order of their names: either they were
     * added in that order, which implies that their names are distinct, or `children` or a removal has sorted them.
     */
    [[nodiscard]] bool areOrdered(NodeId directory) const;

    /**
     * Creates an empty directory, or a file whose content has `contentSize` bytes, which the caller fills in, at `path`,
     * where nothing may exist yet.
     * Result: `noNode`, with nothing changed, if its parent is not a directory, its name is invalid, or a file cannot
     * hold the content.
     * Errors: `std::bad_alloc`, and those of the notice; nothing has changed.
     */
    NodeId make(TreePath const& path, bool directory, std::size_t contentSize = 0);

    /** Likewise, in the directory `parent`, with a valid name, which is not checked again. `hash`: of the whole path. */
    NodeId makeIn(NodeId parent, std::string_view name, std::uint32_t hash, bool directory,
                  std::size_t contentSize = 0);

    /** Removes a node other than the root, and everything below it. */
    void remove(NodeId id) noexcept;

    /** Removes everything below a directory. */
    void clear(NodeId directory) noexcept;

    /**
     * Creates the directory at `path` and the missing ones above it. Sets `outermostMade` to the outermost directory
     * that was created, or to `noNode`.
     * Result: false if a level is a file or a name is invalid; the directories created before that stay.
     * Errors: as for `make`.
     */
    bool makeDirectories(TreePath const& path, NodeId& outermostMade);

    /** Swaps the contents of two files with the same name, the second of which is in an `Apart`. */
    void exchangeContents(NodeId id, NodeId apart) noexcept {
        touch(id);
        _nodes[id].exchangeText(_nodes[apart]);
    }

    /** A directory that is built outside the tree. Released with this object. */
    class Apart {
    public:
        /** Directories in it would not have their whole paths, and be found more slowly. */
        explicit Apart(Tree& tree) : _tree(tree), _directory(tree._nodes.make(true)) {}

        /** To be put in place at `path` as a whole. */
        Apart(Tree& tree, TreePath const& path);
        Apart(Apart const&) = delete;
        Apart& operator=(Apart const&) = delete;
        ~Apart();

        [[nodiscard]] NodeId directory() const { return _directory; }

        /**
         * Adds a directory, or a file whose content the caller fills in, to this directory or to one below it. The
         * caller must ensure that the children of a directory have distinct names. `hash` is the hash of the node's
         * final path.
         * Errors: `std::bad_alloc`.
         */
        NodeId addDirectory(NodeId parent, std::string_view name, std::uint32_t hash);
        NodeId addFile(NodeId parent, std::string_view name, std::uint32_t hash, std::size_t contentSize);

        /** Fills in the content of a file that was added. */
        void fill(NodeId file, std::string_view content) const {
            copyBytes(_tree[file].contentBegin(), content.data(), content.size());
        }

    private:
        friend class Tree;

        NodeId note(std::uint32_t hash, NodeId id);

        Tree& _tree;
        NodeId _directory;
        std::vector<PathIndex::Slot> _entries; ///< everything below the directory
    };

    /**
     * Puts a directory into the tree at `path`, for which it was built, and replaces a file or directory there.
     * Result: false, with nothing changed, if the parent of `path` is not a directory or the name is invalid.
     * Errors: as for `make`.
     */
    bool graft(Apart&& apart, TreePath const& path);

private:
    void come(NodeId id) noexcept {
        if (_journal != nullptr)
            _journal->come(id);
    }
    void leave(NodeId id) noexcept {
        if (_journal != nullptr)
            _journal->leave(id);
    }
    void countEntry() noexcept {
        ++_version;
        count();
    }
    [[nodiscard]] bool givesNotice() const noexcept { return __builtin_expect(_notice != nullptr, 0); }
    void giveNotice(NodeId parent, std::string_view name) const;
    [[nodiscard]] std::vector<NodeId> const& childrenInAnyOrder(NodeId id) const;
    void giveNoticeOfAll(NodeId apart, TreePath const& path) const;
    [[nodiscard]] bool standsAt(Node const& node, std::string_view first,
                                std::string_view rest) const noexcept;
    [[nodiscard]] bool standsBelow(Node const& node, std::string_view first,
                                   std::string_view rest) const noexcept;
    [[nodiscard]] NodeId parentFor(TreePath::Parts const& parts) const;
    bool makeMissing(TreePath const& path, NodeId& outermostMade);
    NodeId childDirectory(NodeId parent, std::string_view name, std::uint32_t hash, NodeId& outermostMade);
    NodeId add(NodeId parent, std::string_view name, std::uint32_t hash, bool directory,
               std::size_t contentSize = 0);
    void link(NodeId parent, NodeId child);
    static std::unique_ptr<Children> makeChildren(NodeId first);
    void append(Children& children, NodeId child);
    void unlink(NodeId child) noexcept;
    void arrange(Children& children) noexcept;
    void moveChildren(NodeId from, NodeId to) noexcept;
    template <class Visit>
    void releaseBelow(NodeId top, Visit&& beforeRelease) noexcept;

    NodePool _nodes;
    PathIndex _index;
    std::uint64_t _version = 0;
    Journal* _journal = nullptr;
    EntryNotice _notice = nullptr;
    std::atomic<std::uint64_t> _ownChanges{0};
    std::atomic<std::uint64_t>* _changes = &_ownChanges; ///< never null
    std::vector<NodeId> const _none;
};

} // namespace filesystem
