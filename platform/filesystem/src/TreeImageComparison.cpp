// SPDX-License-Identifier: Apache-2.0
#include "filesystem/TreeImage.h"

#include <cstring>
#include <iterator>

#include "IndexedTree.h"

namespace filesystem {

namespace {

using Entry = IndexedTree::Entry;

/** Compares two trees without recursion, with a stack of the pairs of directories that are being compared. */
class Comparison {
public:
    Comparison(IndexedTree const& from, IndexedTree const& to, std::string path)
        : _from(from), _to(to), _path(std::move(path)) {}

    /** Compares two entries at the path; null stands for a missing entry. */
    std::vector<TreeChange> run(Entry const* before, Entry const* after) {
        compare(before, after);
        while (!_open.empty()) {
            Pair& pair = _open.back();
            _path.resize(pair.pathSize);
            if (pair.before == pair.beforeEnd && pair.after == pair.afterEnd)
                _open.pop_back();
            else
                step(pair);
        }
        return std::move(_changes);
    }

private:
    using Kind = TreeChange::Kind;

    struct Pair {
        std::size_t pathSize;
        Entry const* before;
        Entry const* beforeEnd;
        Entry const* after;
        Entry const* afterEnd;
    };

    void step(Pair& pair) {
        int const order = orderOf(pair);
        Entry const* const before = order <= 0 ? pair.before++ : nullptr;
        Entry const* const after = order >= 0 ? pair.after++ : nullptr;
        if (order == 0 && sameBytes(*before, *after))
            return;
        if (!_path.empty())
            _path += '/';
        _path += order <= 0 ? _from.nameOf(*before) : _to.nameOf(*after);
        compare(before, after);
    }

    /** Which tree has the next entry: the old one (negative), the new one (positive), or both (0). */
    [[nodiscard]] int orderOf(Pair const& pair) const {
        if (pair.before == pair.beforeEnd)
            return 1;
        if (pair.after == pair.afterEnd)
            return -1;
        return _from.nameOf(*pair.before).compare(_to.nameOf(*pair.after));
    }

    /** Whether two entries have the same encoding, and so are equal. */
    [[nodiscard]] bool sameBytes(Entry const& before, Entry const& after) const {
        std::size_t const size = before.end - before.item;
        return size == after.end - after.item &&
               std::memcmp(_from.payload.data() + before.item, _to.payload.data() + after.item, size) == 0;
    }

    void compare(Entry const* before, Entry const* after) {
        bool const wasDirectory = before != nullptr && before->isDirectory();
        bool const isDirectory = after != nullptr && after->isDirectory();
        if (isDirectory && !wasDirectory)
            _changes.push_back({_path, Kind::directory, {}});
        else if (after != nullptr && !isDirectory)
            compareFile(before, *after);
        else if (before != nullptr && after == nullptr)
            _changes.push_back({_path, Kind::removed, {}});
        if (wasDirectory || isDirectory)
            _open.push_back({_path.size(), childrenOf(_from, before, wasDirectory),
                             endOfChildren(_from, before, wasDirectory), childrenOf(_to, after, isDirectory),
                             endOfChildren(_to, after, isDirectory)});
    }

    void compareFile(Entry const* before, Entry const& after) {
        std::string_view const content = _to.contentOf(after);
        if (before == nullptr || before->isDirectory() || _from.contentOf(*before) != content)
            _changes.push_back({_path, Kind::file, std::string(content)});
    }

    static Entry const* childrenOf(IndexedTree const& image, Entry const* directory, bool isDirectory) {
        return isDirectory ? image.entries.data() + directory->first : nullptr;
    }
    static Entry const* endOfChildren(IndexedTree const& image, Entry const* directory, bool isDirectory) {
        return isDirectory ? image.entries.data() + directory->first + directory->count : nullptr;
    }

    IndexedTree const& _from;
    IndexedTree const& _to;
    std::string _path;
    std::vector<Pair> _open;
    std::vector<TreeChange> _changes;
};

} // namespace

std::vector<TreeChange> TreeImage::differencesTo(TreeImage const& other) const {
    return differencesToDirectory({}, other);
}

std::vector<TreeChange> TreeImage::differencesToNothing(std::string const& path) const {
    return Comparison(*_tree, *_tree, path).run(_tree->find(path), nullptr);
}

std::vector<TreeChange> TreeImage::differencesToFile(std::string const& path,
                                                     std::string_view content) const {
    Entry const* const before = _tree->find(path);
    if (before != nullptr && !before->isDirectory() && _tree->contentOf(*before) == content)
        return {};
    std::vector<TreeChange> changes{{path, TreeChange::Kind::file, std::string(content)}};
    if (before != nullptr && before->isDirectory()) {
        auto below = Comparison(*_tree, *_tree, path).run(before, nullptr);
        changes.insert(changes.end(), std::make_move_iterator(below.begin() + 1),
                       std::make_move_iterator(below.end()));
    }
    return changes;
}

std::vector<TreeChange> TreeImage::differencesToDirectory(std::string const& path,
                                                          TreeImage const& tree) const {
    return Comparison(*_tree, *tree._tree, path).run(_tree->find(path), &tree._tree->root());
}

} // namespace filesystem
