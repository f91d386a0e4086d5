// SPDX-License-Identifier: Apache-2.0
#include "filesystem/Direct.h"

#include <string>

#include "DirectAccess.h"

namespace filesystem {

namespace direct {

namespace {

Entry entryAt(Tree const& tree, NodeId id) {
    if (id == noNode)
        return {Kind::none, {}};
    Node const& node = tree[id];
    return node.directory != 0 ? Entry{Kind::directory, {}} : Entry{Kind::file, node.content()};
}

char* rewriteAt(Tree& tree, NodeId id, std::size_t size) {
    Node& node = tree[id];
    if (node.directory != 0 || !Node::fits(node.nameLength, size))
        return nullptr;
    tree.touch(id);
    return node.replaceContent(size);
}

/** `outermostMade`: as in `Tree`. */
bool makeDirectoriesAt(Tree& tree, std::string_view directory, std::string_view path, NodeId& outermostMade) {
    std::string storage;
    return tree.makeDirectories(TreePath::below(directory, canonicalPath(path, storage)), outermostMade);
}

NodeId findIn(Tree const& tree, std::initializer_list<std::string_view> directories, std::string_view path) {
    TreePath place = TreePath::below({}, path);
    for (std::string_view const directory : directories) {
        place.first = directory;
        if (NodeId const id = tree.find(place); id != noNode)
            return id;
    }
    return noNode;
}

} // namespace

// Most paths are canonical, and one that leads to something as it stands is: only the others are looked at.

Entry find(RAMFileSystem const& fileSystem, std::initializer_list<std::string_view> directories,
           std::string_view path) {
    Tree const& tree = DirectAccess::tree(fileSystem);
    if (NodeId const id = findIn(tree, directories, path); id != noNode)
        return entryAt(tree, id);
    std::string storage;
    std::string_view const canonical = canonicalPath(path, storage);
    return entryAt(tree, canonical == path ? noNode : findIn(tree, directories, canonical));
}

char* rewrite(RAMFileSystem& fileSystem, std::string_view directory, std::string_view path,
              std::size_t size) {
    Tree& tree = DirectAccess::tree(fileSystem);
    TreePath place = TreePath::below(directory, path);
    if (NodeId const found = tree.find(place); found != noNode)
        return rewriteAt(tree, found, size);
    std::string storage;
    if (std::string_view const canonical = canonicalPath(path, storage); canonical != path) {
        place = TreePath::below(directory, canonical);
        if (NodeId const found = tree.find(place); found != noNode)
            return rewriteAt(tree, found, size);
    }
    if (!Node::fits(place.name().size(), size))
        return nullptr;
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

char* make(RAMFileSystem& fileSystem, std::string_view directory, std::string_view around,
           std::string_view path, std::size_t size) {
    Tree& tree = DirectAccess::tree(fileSystem);
    NodeId outermostMade = noNode;
    if (!makeDirectoriesAt(tree, directory, around, outermostMade))
        return nullptr;
    try {
        return rewrite(fileSystem, directory, path, size);
    } catch (...) {
        if (outermostMade != noNode)
            tree.remove(outermostMade);
        throw;
    }
}

bool makeDirectories(RAMFileSystem& fileSystem, std::string_view directory, std::string_view path) {
    NodeId outermostMade = noNode;
    return makeDirectoriesAt(DirectAccess::tree(fileSystem), directory, path, outermostMade);
}

} // namespace direct

} // namespace filesystem
