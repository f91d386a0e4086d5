// SPDX-License-Identifier: Apache-2.0
#include "Tree.h"

#include <algorithm>
#include <utility>

namespace filesystem {

namespace {

/** Whether a level of a canonical path may be made. */
bool mayBeNamed(std::string_view name) {
    return name != "." && name != ".." && name.size() <= Node::longestName;
}

} // namespace

Tree::Tree() {
    static_cast<void>(_nodes.make(true));
}

NodeId Tree::find(TreePath const& path) const {
    if (path.isRoot())
        return root;
    return _index.find(path.hash(), [&](NodeId id) { return standsAt(id, path); });
}

/** Whether a node's names, from the inside out, are those of `path`. */
bool Tree::standsAt(NodeId id, TreePath const& path) const {
    for (std::string_view left = path.rest; !left.empty(); id = _nodes[id].parent) {
        if (id == root)
            return false;
        std::string_view const name = _nodes[id].name();
        if (left.size() < name.size() || left.compare(left.size() - name.size(), name.size(), name) != 0)
            return false;
        left.remove_suffix(name.size());
        if (left.empty())
            continue;
        if (left.back() != '/')
            return false;
        left.remove_suffix(1);
    }
    return _nodes[id].parent == root && _nodes[id].name() == path.first;
}

void Tree::appendChildren(NodeId directory, std::vector<NodeId>& list) const {
    auto const begin = static_cast<std::ptrdiff_t>(list.size());
    for (NodeId child = _nodes[directory].firstChild; child != noNode; child = _nodes[child].next)
        list.push_back(child);
    if (_nodes[directory].ordered == 0)
        std::sort(list.begin() + begin, list.end(),
                  [this](NodeId left, NodeId right) { return _nodes[left].name() < _nodes[right].name(); });
}

NodeId Tree::make(TreePath const& path, bool directory) {
    NodeId const parent = directoryAbove(path);
    if (parent == noNode)
        return noNode;
    std::uint32_t const hash = path.hash();
    _index.reserve(1);
    NodeId const id = add(parent, path.name(), hash, directory);
    _index.insert(hash, id);
    return id;
}

/** The directory in which a node at `path` would lie, if it may. */
NodeId Tree::directoryAbove(TreePath const& path) const {
    std::string_view const name = path.name();
    if (path.isRoot() || !mayBeNamed(name))
        return noNode;
    NodeId const parent = find(path.parent());
    return parent != noNode && _nodes[parent].directory != 0 ? parent : noNode;
}

void Tree::remove(NodeId id) noexcept {
    clear(id);
    unlink(id);
    _index.erase(_nodes[id].hash, id);
    _nodes.release(id);
}

void Tree::clear(NodeId directory) noexcept {
    releaseBelow(directory, [this](NodeId id) { _index.erase(_nodes[id].hash, id); });
}

/** Releases everything below `top`, the innermost first. */
template <class Visit>
void Tree::releaseBelow(NodeId top, Visit&& beforeRelease) noexcept {
    if (_nodes[top].directory == 0)
        return;
    NodeId id = top;
    while (true) {
        while (_nodes[id].directory != 0 && _nodes[id].firstChild != noNode)
            id = _nodes[id].firstChild;
        if (id == top)
            return;
        NodeId const parent = _nodes[id].parent;
        unlink(id);
        beforeRelease(id);
        _nodes.release(id);
        id = parent;
    }
}

/** Makes a node in a directory, without entering it into the index. */
NodeId Tree::add(NodeId parent, std::string_view name, std::uint32_t hash, bool directory) {
    NodeId const id = _nodes.make(directory);
    try {
        _nodes[id].setName(name);
    } catch (...) {
        _nodes.release(id);
        throw;
    }
    _nodes[id].hash = hash;
    link(parent, id);
    return id;
}

bool Tree::makeDirectories(TreePath const& path) {
    // From the top down with the parent at hand: a look-up of the whole path at every level would make the
    // cost of a deep path grow with its square.
    PathPlace place;
    NodeId parent = path.isRoot() ? root : childDirectory(root, path.first, place);
    for (std::string_view left = path.rest; parent != noNode && !left.empty();) {
        std::string_view const name = left.substr(0, left.find('/'));
        parent = childDirectory(parent, name, place);
        left.remove_prefix(std::min(left.size(), name.size() + 1));
    }
    return parent != noNode;
}

/**
 * The directory `name` in `parent`, made when it is missing; `noNode` for a file, and for a name that cannot
 * be. `place` moves from the parent to it.
 */
NodeId Tree::childDirectory(NodeId parent, std::string_view name, PathPlace& place) {
    place = place.below(name);
    std::uint32_t const hash = place.hash();
    NodeId const found = _index.find(
        hash, [&](NodeId id) { return _nodes[id].parent == parent && _nodes[id].name() == name; });
    if (found != noNode)
        return _nodes[found].directory != 0 ? found : noNode;
    if (!mayBeNamed(name))
        return noNode;
    _index.reserve(1);
    NodeId const made = add(parent, name, hash, true);
    _index.insert(hash, made);
    return made;
}

Tree::Apart::~Apart() {
    if (_directory == noNode)
        return;
    _tree.releaseBelow(_directory, [](NodeId) {});
    _tree._nodes.release(_directory);
}

NodeId Tree::Apart::add(NodeId parent, std::string_view name, std::uint32_t hash, bool directory) {
    NodeId const id = _tree.add(parent, name, hash, directory);
    ++_count;
    return id;
}

bool Tree::graft(Apart&& apart, TreePath const& path) {
    NodeId target = find(path);
    if (target != noNode && _nodes[target].directory != 0) {
        _index.reserve(apart._count);
        clear(target);
    } else {
        NodeId const parent = directoryAbove(path);
        if (parent == noNode)
            return false;
        _index.reserve(apart._count + 1);
        NodeId const file = target;
        target = add(parent, path.name(), path.hash(), true);
        if (file != noNode)
            remove(file);
        _index.insert(_nodes[target].hash, target);
    }
    // From here on nothing can fail.
    moveChildren(apart._directory, target);
    _nodes.release(std::exchange(apart._directory, noNode));
    for (NodeId id = nextInTree(target, target); id != target; id = nextInTree(id, target))
        _index.insert(_nodes[id].hash, id);
    return true;
}

/** Makes the children of one directory those of another, which has none. */
void Tree::moveChildren(NodeId from, NodeId to) noexcept {
    ++_version;
    _nodes[to].firstChild = _nodes[from].firstChild;
    _nodes[to].lastChild = _nodes[from].lastChild;
    _nodes[to].ordered = _nodes[from].ordered;
    for (NodeId child = _nodes[to].firstChild; child != noNode; child = _nodes[child].next)
        _nodes[child].parent = to;
}

/** The node after `id` when everything below `top` is walked, parents first; `top` itself at the end. */
NodeId Tree::nextInTree(NodeId id, NodeId top) const noexcept {
    if (_nodes[id].directory != 0 && _nodes[id].firstChild != noNode)
        return _nodes[id].firstChild;
    while (id != top && _nodes[id].next == noNode)
        id = _nodes[id].parent;
    return id == top ? top : _nodes[id].next;
}

void Tree::link(NodeId parent, NodeId child) noexcept {
    ++_version;
    Node& directory = _nodes[parent];
    NodeId const last = directory.lastChild;
    _nodes[child].parent = parent;
    _nodes[child].previous = last;
    if (last == noNode) {
        directory.firstChild = child;
    } else {
        _nodes[last].next = child;
        if (directory.ordered != 0 && !(_nodes[last].name() < _nodes[child].name()))
            directory.ordered = 0;
    }
    directory.lastChild = child;
}

void Tree::unlink(NodeId child) noexcept {
    ++_version;
    Node const& node = _nodes[child];
    Node& directory = _nodes[node.parent];
    (node.previous == noNode ? directory.firstChild : _nodes[node.previous].next) = node.next;
    (node.next == noNode ? directory.lastChild : _nodes[node.next].previous) = node.previous;
    if (directory.firstChild == noNode)
        directory.ordered = 1;
}

} // namespace filesystem
