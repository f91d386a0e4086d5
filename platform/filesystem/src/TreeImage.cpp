// SPDX-License-Identifier: Apache-2.0
#include "filesystem/TreeImage.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "Checksum.h"
#include "DirectAccess.h"
#include "IndexedTree.h"
#include "PathPlace.h"
#include "TreeFormat.h"
#include "TreePath.h"

namespace filesystem {

NewerFormat::~NewerFormat() = default;

namespace {

using Entry = IndexedTree::Entry;

/** Builds a tree in memory without recursion, with a stack of the directories whose entries are not all added. */
class ApartBuilder {
public:
    ApartBuilder(IndexedTree const& image, Tree::Apart& result) : _image(image), _result(result) {}

    /** `path` is the final path of the result. */
    void build(TreePath const& path) {
        enter(_image.root(), _result.directory(), PathPlace(path));
        while (!_open.empty()) {
            if (_open.back().left == 0)
                _open.pop_back();
            else
                add(_open.back());
        }
    }

private:
    struct Directory {
        NodeId id;
        PathPlace place;
        Entry const* next;
        std::uint32_t left; ///< entries that have not been added
    };

    void enter(Entry const& entry, NodeId id, PathPlace const& place) {
        _open.push_back({id, place, _image.entries.data() + entry.first, entry.count});
    }

    void add(Directory& directory) {
        Entry const& entry = *directory.next++;
        --directory.left;
        std::string_view const name = _image.nameOf(entry);
        std::uint32_t const hash = directory.place.hashOf(name);
        if (entry.isDirectory()) {
            enter(entry, _result.addDirectory(directory.id, name, hash), directory.place.below(name));
        } else {
            std::string_view const content = _image.contentOf(entry);
            _result.fill(_result.addFile(directory.id, name, hash, content.size()), content);
        }
    }

    IndexedTree const& _image;
    Tree::Apart& _result;
    std::vector<Directory> _open;
};

std::shared_ptr<IndexedTree const> indexed(std::string bytes, IndexedTree const* similar) {
    auto const owner = std::make_shared<std::string const>(std::move(bytes));
    return IndexedTree::ofFile(owner, *owner, similar);
}

std::string emptyTree() {
    constexpr std::string_view payload = "\xA0"; // an empty map
    char head[longestTreeHead];
    char const* const end = writeTreeHead(head, checksumOf(payload), payload.size());
    return std::string(head, static_cast<std::size_t>(end - head)).append(payload);
}

} // namespace

TreeImage::TreeImage() : TreeImage(emptyTree()) {}

TreeImage::TreeImage(std::string bytes) : TreeImage(indexed(std::move(bytes), nullptr)) {}

TreeImage::TreeImage(std::string bytes, TreeImage const& similar)
    : TreeImage(indexed(std::move(bytes), similar._tree.get())) {}

TreeImage::TreeImage(std::shared_ptr<IndexedTree const> tree) : _tree(std::move(tree)) {}

std::string_view TreeImage::bytes() const noexcept {
    return _tree->bytes;
}

std::size_t TreeImage::fileCount() const noexcept {
    auto const count = std::count_if(_tree->entries.begin(), _tree->entries.end(),
                                     [](Entry const& entry) { return !entry.isDirectory(); });
    return static_cast<std::size_t>(count);
}

TreeImage TreeImage::of(RAMFileSystem const& fileSystem, std::string const& path) {
    Tree& tree = DirectAccess::treeToList(fileSystem);
    std::string storage;
    NodeId const id = tree.find(TreePath::of(canonicalPath(path, storage)));
    bool const isDirectory = id != noNode && tree[id].directory != 0;
    auto const bytes = encodeTree(tree, isDirectory ? id : noNode);
    if (!bytes)
        throw utils::Exception("changed by another thread without a lock");
    return TreeImage(std::string(bytes->content));
}

void TreeImage::putInto(RAMFileSystem& fileSystem, std::string const& path) const {
    Tree& tree = DirectAccess::tree(fileSystem);
    std::string storage;
    TreePath const place = TreePath::of(canonicalPath(path, storage));
    Tree::Apart built(tree, place);
    ApartBuilder(*_tree, built).build(place);
    if (!tree.graft(std::move(built), place))
        throw utils::Exception("cannot create the directory " + path);
}

} // namespace filesystem
