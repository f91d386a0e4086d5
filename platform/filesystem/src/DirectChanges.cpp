// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <vector>

#include "DirectAccess.h"
#include "filesystem/Direct.h"

namespace filesystem::direct {

namespace {

/**
 * A set of changes, made together. New files are created at once, and removed again unless `commit` is called. All
 * other changes are only prepared, so that `commit` needs no memory.
 */
class Transaction {
public:
    Transaction(Tree& tree, std::string_view directory, std::size_t changes)
        : _tree(tree), _directory(directory), _contents(tree) {
        _made.reserve(changes);
        _replaced.reserve(changes);
        _removed.reserve(changes);
    }
    Transaction(Transaction const&) = delete;
    Transaction& operator=(Transaction const&) = delete;
    ~Transaction() {
        std::for_each(_made.rbegin(), _made.rend(), [this](NodeId id) { _tree.remove(id); });
    }

    /** Result: whether the change can be made. Errors: `std::bad_alloc`. */
    bool prepare(Change const& change) {
        std::string storage;
        TreePath const place = TreePath::below(_directory, canonicalPath(change.path, storage));
        NodeId const found = _tree.find(place);
        if (change.content)
            return found != noNode ? replace(found, *change.content) : make(place, *change.content);
        if (found != noNode)
            _removed.push_back(found);
        return true;
    }

    void commit() noexcept {
        for (Replaced const& replaced : _replaced)
            _tree.exchangeContents(replaced.file, replaced.content);
        for (NodeId const id : _removed)
            removeWithEmptyDirectories(id);
        _made.clear();
    }

private:
    struct Replaced {
        NodeId file;
        NodeId content; ///< a file outside the tree: has the new content, and the old one after `commit`
    };

    bool replace(NodeId id, std::string_view content) {
        Node const& node = _tree[id];
        if (node.directory != 0 || !Node::fits(node.nameLength, content.size()))
            return false;
        NodeId const apart = _contents.addFile(_contents.directory(), node.name(), node.hash, content.size());
        _contents.fill(apart, content);
        _replaced.push_back({id, apart});
        return true;
    }

    bool make(TreePath const& place, std::string_view content) {
        TreePath::Parts const parts = place.split();
        if (!Node::fits(parts.name.size(), content.size()))
            return false;
        NodeId outermostMade = noNode;
        bool const hasDirectory = _tree.makeDirectories(parts.parent, outermostMade);
        if (outermostMade != noNode)
            _made.push_back(outermostMade);
        NodeId const file = hasDirectory ? _tree.make(place, false, content.size()) : noNode;
        if (file == noNode)
            return false;
        if (outermostMade == noNode)
            _made.push_back(file);
        std::copy(content.begin(), content.end(), _tree[file].contentBegin());
        return true;
    }

    void removeWithEmptyDirectories(NodeId id) noexcept {
        NodeId around = _tree[id].parent;
        _tree.remove(id);
        while (around != Tree::root && _tree[around].parent != Tree::root &&
               _tree[around].children == nullptr) {
            NodeId const next = _tree[around].parent;
            _tree.remove(around);
            around = next;
        }
    }

    Tree& _tree;
    std::string_view _directory;
    Tree::Apart _contents;
    std::vector<NodeId> _made; ///< the outermost node that each change has created, in this order
    std::vector<Replaced> _replaced;
    std::vector<NodeId> _removed;
};

} // namespace

Change const* apply(RAMFileSystem& fileSystem, std::string_view directory,
                    std::vector<Change> const& changes) {
    Transaction transaction(DirectAccess::tree(fileSystem), directory, changes.size());
    auto const refused = std::find_if_not(changes.begin(), changes.end(),
                                          [&](Change const& change) { return transaction.prepare(change); });
    if (refused != changes.end())
        return &*refused;
    transaction.commit();
    return nullptr;
}

} // namespace filesystem::direct
