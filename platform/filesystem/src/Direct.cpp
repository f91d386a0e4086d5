// SPDX-License-Identifier: Apache-2.0
#include "filesystem/Direct.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "DirectAccess.h"
#include "TreeLookup.h"

namespace filesystem::direct {

namespace {

Entry entryOf(Node const* node) {
    if (node == nullptr)
        return {Kind::none, {}};
    return node->directory != 0 ? Entry{Kind::directory, {}} : Entry{Kind::file, node->content()};
}

Entry entryAt(Tree const& tree, NodeId id) {
    return entryOf(id != noNode ? &tree[id] : nullptr);
}

/** Not inlined, so that rewrites that need no recording do not have to save registers for this call. */
[[gnu::noinline]] char* rewriteRecorded(Journal& journal, Node& node, NodeId id, std::size_t size) {
    journal.touch(id);
    return node.replaceContent(size);
}

/** Inlined, because it is part of every write. */
[[gnu::always_inline]] inline char* rewriteAt(Tree& tree, NodeId id, std::size_t size) {
    Node& node = tree[id];
    if (node.directory != 0 || !Node::fits(node.nameLength, size))
        return nullptr;
    tree.count();
    Journal* const journal = tree.journal();
    return journal != nullptr && !journal->isRecorded(id) ? rewriteRecorded(*journal, node, id, size)
                                                          : node.replaceContent(size);
}

/** `outermostMade`: as in `Tree::makeDirectories`. */
bool makeDirectoriesAt(Tree& tree, std::string_view directory, std::string_view path, NodeId& outermostMade) {
    std::string storage;
    return tree.makeDirectories(TreePath::below(directory, canonicalPath(path, storage)), outermostMade);
}

/** A directory on the path to a walk's current entry, and its children that have not been visited yet. */
struct Level {
    std::vector<NodeId> ordered; ///< the children in the order of the walk, if the tree has another order
    NodeId const* next;
    NodeId const* end;
    std::size_t pathSize; ///< the size of the directory's path
};

bool isDone(Level const& level) {
    return level.next == level.end;
}

NodeId findCanonical(Tree const& tree, std::string_view directory, std::string_view path) {
    std::string storage;
    return tree.find(TreePath::below(directory, canonicalPath(path, storage)));
}

Node const* firstLevel(Tree const& tree, std::string_view name) {
    NodeId const id = tree.find(TreePath::below(name, {}));
    return id != noNode ? &tree[id] : nullptr;
}

/** The node at `path`, whose hash is `pathHash`, in the first of the directories that contains it; null if none does. */
Node const* findIn(Tree const& tree, std::string_view const* directories, std::string_view const* end,
                   std::string_view path, std::uint64_t pathHash) {
    Node const* node = nullptr;
    for (; directories != end && node == nullptr; ++directories)
        node = path.empty() ? firstLevel(tree, *directories) : tree.findBelow(*directories, path, pathHash);
    return node;
}

/**
 * Finds what `Tree::findBelow` has not found in the first of the directories under the unchanged path, whose hash is
 * `pathHash`. It is not inlined, so that other look-ups do not have to save registers for it.
 */
[[gnu::noinline]] Entry findOtherwise(Tree const& tree, std::string_view const* directories,
                                      std::string_view const* end, std::string_view path,
                                      std::uint64_t pathHash) {
    if (directories == end)
        return entryOf(nullptr);
    std::string_view const* const next = path.empty() ? directories : directories + 1;
    if (Node const* const node = findIn(tree, next, end, path, pathHash); node != nullptr)
        return entryOf(node);
    std::string storage;
    std::string_view const canonical = canonicalPath(path, storage);
    return entryOf(canonical == path ? nullptr
                                     : findIn(tree, directories, end, canonical, PathHash::of(canonical)));
}

/** Rewrites or creates a file if nothing was found at `place`, its unchanged path. */
char* rewriteCanonical(Tree& tree, TreePath place, std::size_t size) {
    std::string storage;
    std::string_view const canonical = canonicalPath(place.rest, storage);
    if (canonical != place.rest) {
        place = TreePath::below(place.first, canonical);
        if (NodeId const id = tree.find(place); id != noNode)
            return rewriteAt(tree, id, size);
    }
    NodeId const id = tree.make(place, false, size);
    return id != noNode ? tree[id].contentBegin() : nullptr;
}

/**
 * Likewise, without examining the whole path if possible. It is not inlined, so that other rewrites do not have to save
 * registers for it.
 */
[[gnu::noinline]] char* rewriteOtherwise(Tree& tree, TreePath const& place, std::size_t size) {
    // If the directory is found under its unchanged path, only the name remains to be examined.
    TreePath::Parts const parts = place.split();
    bool const hasLeadingSlash = !place.rest.empty() && place.rest.front() == '/';
    if (!hasLeadingSlash && isName(parts.name))
        if (NodeId const parent = tree.find(parts.parent); parent != noNode) {
            NodeId const id = tree.makeIn(parent, parts.name, place.hash, false, size);
            return id != noNode ? tree[id].contentBegin() : nullptr;
        }
    return rewriteCanonical(tree, place, size);
}

/** Whether one child of a directory precedes another on a walk: directories sort as if their names ended in "/". */
bool isVisitedBefore(Node const& left, Node const& right) {
    std::string_view const a = left.name();
    std::string_view const b = right.name();
    std::size_t const common = std::min(a.size(), b.size());
    if (int const order = std::memcmp(a.data(), b.data(), common); order != 0)
        return order < 0;
    auto const next = [common](std::string_view name, Node const& node) {
        return name.size() > common  ? static_cast<unsigned char>(name[common])
               : node.directory != 0 ? '/'
                                     : -1;
    };
    return next(a, left) < next(b, right);
}

} // namespace

// A fast path: if an entry is found under the unchanged path, the path is canonical and need not be examined.

Entry find(RAMFileSystem const& fileSystem, std::string_view const* directories, std::string_view const* end,
           std::string_view path) {
    Tree const& tree = DirectAccess::tree(fileSystem);
    std::uint64_t const pathHash = PathHash::of(path);
    if (directories != end)
        if (Node const* const node = tree.findBelow(*directories, path, pathHash); node != nullptr)
            return entryOf(node);
    return findOtherwise(tree, directories, end, path, pathHash);
}

std::vector<std::string> list(RAMFileSystem const& fileSystem, std::string_view directory,
                              std::string_view path, Kind kind) {
    std::vector<std::string> names;
    Tree& tree = DirectAccess::treeToList(fileSystem);
    NodeId const id = findCanonical(tree, directory, path);
    if (entryAt(tree, id).kind != Kind::directory)
        return names;
    std::vector<NodeId> const& children = tree.children(id);
    names.reserve(children.size());
    for (NodeId const child : children)
        if (Node const& node = tree[child]; (node.directory != 0) == (kind == Kind::directory))
            names.emplace_back(node.name());
    return names;
}

char* rewrite(RAMFileSystem& fileSystem, std::string_view directory, std::string_view path,
              std::size_t size) {
    Tree& tree = DirectAccess::tree(fileSystem);
    TreePath const place = TreePath::below(directory, path);
    NodeId const id = tree.find(place);
    return id != noNode ? rewriteAt(tree, id, size) : rewriteOtherwise(tree, place, size);
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

struct Walk::State {
    Tree& tree;
    std::vector<Level> levels;
    std::string path;
    std::size_t nameBegin = 0;
    NodeId at = noNode;
    bool isSkipped = false;

    explicit State(Tree& walked) : tree(walked) {}

    [[nodiscard]] bool isAtDirectory() const { return at != noNode && tree[at].directory != 0; }

    void enter(NodeId directory) {
        auto const before = [this](NodeId left, NodeId right) {
            return isVisitedBefore(tree[left], tree[right]);
        };
        std::vector<NodeId> const& children = tree.children(directory);
        Level level{};
        if (!std::is_sorted(children.begin(), children.end(), before)) {
            level.ordered = children;
            std::sort(level.ordered.begin(), level.ordered.end(), before);
        }
        std::vector<NodeId> const& all = level.ordered.empty() ? children : level.ordered;
        level.next = all.data();
        level.end = level.next + all.size();
        level.pathSize = path.size();
        levels.push_back(std::move(level));
    }

    bool next() {
        if (isAtDirectory() && !isSkipped)
            enter(at);
        isSkipped = false;
        while (!levels.empty() && isDone(levels.back()))
            levels.pop_back();
        if (levels.empty()) {
            at = noNode;
            nameBegin = 0;
            path.clear();
            return false;
        }
        Level& level = levels.back();
        at = *level.next++;
        nameBegin = level.pathSize;
        path.resize(nameBegin);
        path.append(tree[at].name());
        if (isAtDirectory())
            path += '/';
        return true;
    }
};

Walk::Walk(RAMFileSystem const& fileSystem, std::string_view directory, std::string_view path)
    : _state(std::make_unique<State>(DirectAccess::treeToList(fileSystem))) {
    NodeId const top = findCanonical(_state->tree, directory, path);
    if (top != noNode && _state->tree[top].directory != 0)
        _state->enter(top);
}

Walk::Walk(Walk&& other) noexcept = default;
Walk& Walk::operator=(Walk&& other) noexcept = default;
Walk::~Walk() = default;

bool Walk::next() {
    return _state->next();
}

void Walk::skip() noexcept {
    _state->isSkipped = true;
}

Kind Walk::kind() const noexcept {
    return entryAt(_state->tree, _state->at).kind;
}

bool Walk::isEmptyDirectory() const noexcept {
    return _state->isAtDirectory() && _state->tree[_state->at].children == nullptr;
}

std::string_view Walk::content() const noexcept {
    return entryAt(_state->tree, _state->at).content;
}

std::string_view Walk::path() const noexcept {
    return _state->path;
}

std::size_t Walk::nameBegin() const noexcept {
    return _state->nameBegin;
}

} // namespace filesystem::direct
