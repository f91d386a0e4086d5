// SPDX-License-Identifier: Apache-2.0
#include "Tree.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include <pthread.h>

#include "PathPlace.h"
#include "TreeLookup.h"
#include "Words.h"

namespace filesystem {

namespace {

/**
 * Guards the sorting of children, in all trees. Held during a fork, so that the child finds it free, and no list half
 * sorted.
 */
std::mutex orderMutex;

[[maybe_unused]] int const heldDuringForks =
    ::pthread_atfork([] { orderMutex.lock(); }, [] { orderMutex.unlock(); }, [] { orderMutex.unlock(); });

/** Whether an entry may be given this name, which is a level of a canonical path. */
bool mayBeNamed(std::string_view name) {
    return name != "." && name != ".." && name.size() <= Node::longestName;
}

/** Whether `path` consists of the levels `first` and `rest`. */
bool isPath(std::string_view path, std::string_view first, std::string_view rest) {
    if (path.size() != first.size() + (rest.empty() ? 0 : 1 + rest.size()) ||
        !sameBytes(path.data(), first.data(), first.size()))
        return false;
    char const* const slash = path.data() + first.size();
    return rest.empty() || (*slash == '/' && sameBytes(slash + 1, rest.data(), rest.size()));
}

} // namespace

Tree::Tree() {
    _nodes[_nodes.make(true)].setPath({}, {});
}

NodeId Tree::find(TreePath const& path) const {
    auto const matches = [this, first = path.first, rest = path.rest](NodeId id) {
        return standsAt(_nodes[id], first, rest);
    };
    return path.isRoot() ? root : _index.find(path.hash, matches);
}

/** As `standsAt`, for any node: compares the names from the node up to the first directory that has its whole path. */
bool Tree::standsBelow(Node const& node, std::string_view first, std::string_view rest) const noexcept {
    std::size_t left = rest.size();
    Node const* at = &node;
    for (; !at->hasPath(); at = &_nodes[at->parent]) {
        std::string_view const name = at->name();
        if (left == 0)
            return at->parent == root && name == first;
        if (name.size() > left || !sameBytes(name.data(), rest.data() + left - name.size(), name.size()))
            return false;
        left -= name.size();
        if (left == 1 || (left != 0 && rest[--left] != '/'))
            return false; // with one byte left, that is a "/" before the first name
    }
    return isPath(at->wholePath(), first, rest.substr(0, left));
}

std::vector<NodeId> const& Tree::children(NodeId directory) {
    Children* const children = _nodes[directory].children;
    if (children == nullptr)
        return _none;
    std::lock_guard<std::mutex> const lock(orderMutex);
    if (!children->ordered || children->holes != 0)
        arrange(*children);
    return children->ids;
}

bool Tree::areOrdered(NodeId directory) const {
    Children const* const children = _nodes[directory].children;
    return children == nullptr || children->ordered;
}

/** Sorts children and removes holes. */
void Tree::arrange(Children& children) noexcept {
    auto& ids = children.ids;
    ids.erase(std::remove(ids.begin(), ids.end(), noNode), ids.end());
    children.holes = 0;
    if (!children.ordered)
        std::sort(ids.begin(), ids.end(), [this](NodeId left, NodeId right) {
            return precedes(_nodes[left].name(), _nodes[right].name());
        });
    children.ordered = true;
    for (std::size_t place = 0; place < ids.size(); ++place)
        _nodes[ids[place]].place = static_cast<std::uint32_t>(place);
}

NodeId Tree::make(TreePath const& path, bool directory, std::size_t contentSize) {
    TreePath::Parts const parts = path.split();
    NodeId const parent = parentFor(parts);
    return parent != noNode ? makeIn(parent, parts.name, path.hash, directory, contentSize) : noNode;
}

NodeId Tree::makeIn(NodeId parent, std::string_view name, std::uint32_t hash, bool directory,
                    std::size_t contentSize) {
    if (_nodes[parent].directory == 0 || !Node::fits(name.size(), contentSize))
        return noNode;
    if (givesNotice())
        giveNotice(parent, name);
    _index.reserve(1);
    NodeId const id = add(parent, name, hash, directory, contentSize);
    _index.insert({hash, id});
    come(id);
    return id;
}

/** The parent for a new node; `noNode` if no node can be created there. */
NodeId Tree::parentFor(TreePath::Parts const& parts) const {
    NodeId const parent = mayBeNamed(parts.name) ? find(parts.parent) : noNode;
    return parent != noNode && _nodes[parent].directory != 0 ? parent : noNode;
}

void Tree::remove(NodeId id) noexcept {
    leave(id);
    clear(id);
    unlink(id);
    _index.erase(_nodes[id].hash, id);
    _nodes.release(id);
}

void Tree::clear(NodeId directory) noexcept {
    releaseBelow(directory, [this](NodeId id) { _index.erase(_nodes[id].hash, id); });
}

/** Releases everything below `top`, innermost nodes first. */
template <class Visit>
void Tree::releaseBelow(NodeId top, Visit&& beforeRelease) noexcept {
    if (_nodes[top].directory == 0)
        return;
    NodeId id = top;
    while (true) {
        while (_nodes[id].directory != 0 && _nodes[id].children != nullptr)
            id = _nodes[id].children->ids.back();
        if (id == top)
            return;
        NodeId const parent = _nodes[id].parent;
        unlink(id);
        beforeRelease(id);
        _nodes.release(id);
        id = parent;
    }
}

/** Creates a node in a directory, without adding it to the index. */
NodeId Tree::add(NodeId parent, std::string_view name, std::uint32_t hash, bool directory,
                 std::size_t contentSize) {
    NodeId const id = _nodes.make(directory);
    try {
        Node& node = _nodes[id];
        if (directory)
            node.setNameIn(_nodes[parent], name);
        else
            node.setName(name, contentSize);
        node.hash = hash;
        link(parent, id);
    } catch (...) {
        _nodes.release(id);
        throw;
    }
    return id;
}

bool Tree::makeDirectories(TreePath const& path, NodeId& outermostMade) {
    outermostMade = noNode;
    try {
        return path.isRoot() || makeMissing(path, outermostMade);
    } catch (...) {
        if (outermostMade != noNode)
            remove(std::exchange(outermostMade, noNode));
        throw;
    }
}

bool Tree::makeMissing(TreePath const& path, NodeId& outermostMade) {
    // Goes down from the root, level by level: looking up the whole path at every level would take quadratic time.
    PathPlace place;
    NodeId parent = root;
    std::string_view name = path.first;
    std::string_view left = path.rest;
    while (true) {
        parent = childDirectory(parent, name, place.hashOf(name), outermostMade);
        if (parent == noNode || left.empty())
            return parent != noNode;
        place = place.below(name);
        name = left.substr(0, left.find('/'));
        left.remove_prefix(std::min(left.size(), name.size() + 1));
    }
}

/** The directory `name` in `parent`, created if it is missing; `noNode` if it is a file or the name is invalid. */
NodeId Tree::childDirectory(NodeId parent, std::string_view name, std::uint32_t hash, NodeId& outermostMade) {
    NodeId const found = _index.find(
        hash, [&](NodeId id) { return _nodes[id].parent == parent && _nodes[id].name() == name; });
    if (found != noNode)
        return _nodes[found].directory != 0 ? found : noNode;
    if (!mayBeNamed(name))
        return noNode;
    NodeId const made = makeIn(parent, name, hash, true);
    if (outermostMade == noNode)
        outermostMade = made;
    return made;
}

Tree::Apart::Apart(Tree& tree, TreePath const& path) : Apart(tree) {
    _tree[_directory].setPath(path.first, path.rest);
}

Tree::Apart::~Apart() {
    if (_directory == noNode)
        return;
    _tree.releaseBelow(_directory, [](NodeId) {});
    _tree._nodes.release(_directory);
}

/** Not by `push_back`: the compiler would assemble the slot in memory from halves, and the processor wait for them. */
inline NodeId Tree::Apart::note(std::uint32_t hash, NodeId id) {
    PathIndex::Slot& slot = _entries.emplace_back();
    slot.hash = hash;
    slot.node = id;
    return id;
}

NodeId Tree::Apart::addDirectory(NodeId parent, std::string_view name, std::uint32_t hash) {
    return note(hash, _tree.add(parent, name, hash, true));
}

NodeId Tree::Apart::addFile(NodeId parent, std::string_view name, std::uint32_t hash,
                            std::size_t contentSize) {
    return note(hash, _tree.add(parent, name, hash, false, contentSize));
}

bool Tree::graft(Apart&& apart, TreePath const& path) {
    if (givesNotice())
        giveNoticeOfAll(apart._directory, path);
    NodeId target = find(path);
    if (target != noNode && _nodes[target].directory != 0) {
        _index.reserve(apart._entries.size());
        leave(target);
        clear(target);
    } else {
        TreePath::Parts const parts = path.split();
        NodeId const parent = parentFor(parts);
        if (parent == noNode)
            return false;
        if (givesNotice())
            giveNotice(parent, parts.name);
        _index.reserve(apart._entries.size() + 1);
        NodeId const file = target;
        target = add(parent, parts.name, path.hash, true);
        if (file != noNode)
            remove(file);
        _index.insert({_nodes[target].hash, target});
        come(target);
    }
    // Nothing below can fail.
    moveChildren(apart._directory, target);
    _nodes.release(std::exchange(apart._directory, noNode));
    for (PathIndex::Slot const entry : apart._entries)
        _index.insert(entry);
    return true;
}

/**
 * Gives notice of an entry that is about to be added, if `parent` is a first-level directory. It is not inlined,
 * because it is rarely called.
 */
[[gnu::cold, gnu::noinline]] void Tree::giveNotice(NodeId parent, std::string_view name) const {
    if (_nodes[parent].parent == root)
        _notice(name);
}

std::vector<NodeId> const& Tree::childrenInAnyOrder(NodeId id) const {
    Node const& node = _nodes[id];
    return node.directory != 0 && node.children != nullptr ? node.children->ids : _none;
}

/** Gives notice of the entries that `graft` is about to add directly to first-level directories. */
void Tree::giveNoticeOfAll(NodeId apart, TreePath const& path) const {
    if (!path.rest.empty())
        return;
    for (NodeId const child : childrenInAnyOrder(apart)) {
        if (!path.isRoot())
            _notice(_nodes[child].name());
        else
            for (NodeId const grandchild : childrenInAnyOrder(child))
                _notice(_nodes[grandchild].name());
    }
}

/** Moves the children of `from`, which has no holes, to `to`, which is empty. */
void Tree::moveChildren(NodeId from, NodeId to) noexcept {
    countEntry();
    Children* const children = std::exchange(_nodes[from].children, nullptr);
    _nodes[to].children = children;
    if (children == nullptr)
        return;
    for (NodeId const child : children->ids)
        _nodes[child].parent = to;
}

/** Errors: `std::bad_alloc`; nothing has changed. */
void Tree::link(NodeId parent, NodeId child) {
    Node& directory = _nodes[parent];
    if (directory.children == nullptr)
        directory.children = makeChildren(child).release();
    else
        append(*directory.children, child);
    Node& node = _nodes[child];
    node.parent = parent;
    node.place = static_cast<std::uint32_t>(directory.children->ids.size() - 1);
    countEntry();
}

std::unique_ptr<Children> Tree::makeChildren(NodeId first) {
    constexpr std::size_t room = 6; // fills the allocator's smallest block
    auto children = std::make_unique<Children>();
    children->ids.reserve(room);
    children->ids.push_back(first);
    return children;
}

void Tree::append(Children& children, NodeId child) {
    NodeId const last = children.ids.back();
    children.ids.push_back(child);
    if (children.ordered)
        children.ordered = precedes(_nodes[last].name(), _nodes[child].name());
}

void Tree::unlink(NodeId child) noexcept {
    countEntry();
    Node const& node = _nodes[child];
    Node& directory = _nodes[node.parent];
    auto& ids = directory.children->ids;
    ids[node.place] = noNode;
    ++directory.children->holes;
    while (!ids.empty() && ids.back() == noNode) {
        ids.pop_back();
        --directory.children->holes;
    }
    if (ids.empty()) {
        delete std::exchange(directory.children, nullptr);
        return;
    }
    if (directory.children->holes > ids.size() / 2)
        arrange(*directory.children);
    if (ids.capacity() / 4 > ids.size())
        ids.shrink_to_fit(); // never throws: without memory for a copy it changes nothing
}

} // namespace filesystem
