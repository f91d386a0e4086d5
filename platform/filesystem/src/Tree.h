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
#include "filesystem/EntryNotice.h"

namespace filesystem {

/**
 * A tree of directories and files in memory.
 *
 * Nodes know their parent, their place there and the hash of their path; one flat index finds any of them by
 * its whole path at the same cost, whatever the number of nodes. Nothing here recurses.
 */
class Tree {
public:
    static constexpr NodeId root = noNode + 1;

    Tree();

    [[nodiscard]] Node& operator[](NodeId id) noexcept { return _nodes[id]; }
    [[nodiscard]] Node const& operator[](NodeId id) const noexcept { return _nodes[id]; }

    /** Reports all changes from now on to a journal; null for none. */
    void setJournal(Journal* journal) noexcept { _journal = journal; }
    [[nodiscard]] Journal* journal() const noexcept { return _journal; }

    /** Counts changes in `counter` from now on. */
    void countIn(std::atomic<std::uint64_t>& counter) noexcept { _changes = &counter; }

    /** Gives notice of entries in first-level directories from now on; null for no notice. */
    void setNotice(EntryNotice notice) noexcept { _notice = notice; }

    /** Counts a change of a file's content. Changes of entries are counted here. */
    void count() noexcept {
        _changes->store(_changes->load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }

    /** The content of a file is about to change. */
    void touch(NodeId id) noexcept {
        count();
        if (__builtin_expect(_journal != nullptr, 0))
            _journal->touch(id);
    }

    /** Another number whenever an entry has come or gone. */
    [[nodiscard]] std::uint64_t version() const noexcept { return _version; }

    /** The node at `path`, `noNode` when nothing stands there. */
    [[nodiscard]] NodeId find(TreePath const& path) const;

    /**
     * The children of a directory in ascending byte order of their names, valid until the tree is next
     * changed. Safe from several threads at once: a lock of the process, under which nothing else is locked,
     * guards the ordering.
     */
    [[nodiscard]] std::vector<NodeId> const& children(NodeId directory);

    /** Whether the children of a directory came in ascending order, and so without a name twice. */
    [[nodiscard]] bool areOrdered(NodeId directory) const;

    /**
     * Makes an empty directory or file at `path`.
     * Result: `noNode`, with nothing changed, when its parent is not a directory or its name is invalid.
     * Errors: `std::bad_alloc`, and those of the notice; nothing has changed. Nothing may stand at `path` yet.
     */
    NodeId make(TreePath const& path, bool directory);

    /** Removes a node, not the root, with all that is below it. */
    void remove(NodeId id) noexcept;

    /** Removes all that is below a directory. */
    void clear(NodeId directory) noexcept;

    /**
     * Makes the directory at `path` and the missing ones above it. `outermostMade` is then the outermost that
     * was made, or `noNode`.
     * Result: false when a file is in the way or a name is invalid; the directories made before that stay.
     * Errors: as for `make`.
     */
    bool makeDirectories(TreePath const& path, NodeId& outermostMade);

    /** Gives two files of the same name each other's content. The second one is apart. */
    void exchangeContents(NodeId id, NodeId apart) noexcept {
        touch(id);
        _nodes[id].exchangeText(_nodes[apart]);
    }

    /**
     * A directory built where no path reaches it, to be put in place as a whole; released with this object.
     */
    class Apart {
    public:
        explicit Apart(Tree& tree) : _tree(tree), _directory(tree._nodes.make(true)) {}
        Apart(Apart const&) = delete;
        Apart& operator=(Apart const&) = delete;
        ~Apart();

        [[nodiscard]] NodeId directory() const { return _directory; }

        /**
         * Adds a directory, or a file with its content, to this directory or to one below it. The caller sees
         * to it that no two children of a directory share a name. `hash` is that of the whole path at which
         * the node will stand.
         * Errors: `std::bad_alloc`; nothing is in the tree yet.
         */
        NodeId addDirectory(NodeId parent, std::string_view name, std::uint32_t hash);
        NodeId addFile(NodeId parent, std::string_view name, std::uint32_t hash, std::string_view content);

    private:
        friend class Tree;

        Tree& _tree;
        NodeId _directory;
        std::vector<PathIndex::Slot> _entries; ///< all that is below
    };

    /**
     * Puts a directory built apart at `path`, in place of the file or directory there.
     * Result: false, with nothing changed, when the parent of `path` is not a directory or its name is invalid.
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
    [[nodiscard]] bool standsAt(NodeId id, TreePath const& path) const;
    [[nodiscard]] NodeId directoryAbove(TreePath const& path) const;
    bool makeMissing(TreePath const& path, NodeId& outermostMade);
    NodeId childDirectory(NodeId parent, std::string_view name, std::uint32_t hash, NodeId& outermostMade);
    NodeId add(NodeId parent, std::string_view name, std::uint32_t hash, bool directory,
               std::string_view content = {});
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
