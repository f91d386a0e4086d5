// SPDX-License-Identifier: Apache-2.0
#include "filesystem/Direct.h"

#include "PathHash.h"
#include "Tree.h"
#include "filesystem/RAMFileSystem.h"

namespace filesystem {

/** The way to a file system's tree. */
struct DirectAccess {
    static Tree const& tree(RAMFileSystem const& fileSystem) { return *fileSystem._tree; }
    static Tree& tree(RAMFileSystem& fileSystem) { return *fileSystem._tree; }
};

namespace direct {

namespace {

TreePath join(std::string_view directory, Path const& path) {
    return {directory, path.text(), path.hash()};
}

} // namespace

Path::Path(std::string_view path) : _text(canonicalPath(path, _storage)), _hash(PathHash::of(_text)) {}

Entry find(RAMFileSystem const& fileSystem, std::string_view directory, Path const& path) {
    Tree const& tree = DirectAccess::tree(fileSystem);
    NodeId const id = tree.find(join(directory, path));
    if (id == noNode)
        return {Kind::none, {}};
    Node const& node = tree[id];
    if (node.directory != 0)
        return {Kind::directory, {}};
    return {Kind::file, node.content()};
}

char* rewrite(RAMFileSystem& fileSystem, std::string_view directory, Path const& path, std::size_t size) {
    Tree& tree = DirectAccess::tree(fileSystem);
    TreePath const place = join(directory, path);
    if (!Node::fits(place.name().size(), size))
        return nullptr;
    if (NodeId const found = tree.find(place); found != noNode)
        return tree[found].directory != 0 ? nullptr : tree[found].replaceContent(size);
    NodeId const made = tree.make(place, false);
    if (made == noNode)
        return nullptr;
    try {
        return tree[made].replaceContent(size);
    } catch (...) {
        tree.remove(made);
        throw;
    }
}

bool makeDirectories(RAMFileSystem& fileSystem, std::string_view directory, Path const& path) {
    return DirectAccess::tree(fileSystem).makeDirectories(join(directory, path));
}

} // namespace direct

} // namespace filesystem
