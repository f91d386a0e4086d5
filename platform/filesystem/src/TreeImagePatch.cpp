// SPDX-License-Identifier: Apache-2.0
#include "filesystem/TreeImage.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

#include "CborItems.h"
#include "IndexedTree.h"
#include "TreeFormat.h"

namespace filesystem {

namespace {

using Entry = IndexedTree::Entry;
using Changes = std::vector<TreeChange>;

/**
 * Writes a payload backwards, so that the number of children of a directory is known when its head is written. Works
 * without recursion, with a stack of the directories that contain changes; everything else is copied.
 */
class Patch {
public:
    Patch(IndexedTree const& from, Changes const& changes)
        : _from(from), _room(roomFor(from, changes)), _block(new char[_room]), _begin(_block.get() + _room) {
        open(&from.root(), changes.data(), changes.data() + changes.size(), 0, {});
        _open.back().isKept = true;
    }

    std::shared_ptr<IndexedTree const> run() {
        while (!_open.empty()) {
            Directory& directory = _open.back();
            if (directory.lastChange == directory.firstChange) {
                copyChildren(directory, 0);
                close();
            } else {
                step(directory);
            }
        }
        auto const size = static_cast<std::size_t>(_block.get() + _room - _begin);
        return IndexedTree::ofPayload(_block, _begin, size, _from);
    }

private:
    struct Directory {
        Entry const* before; ///< null if it is new
        std::uint32_t left;  ///< the number of its children that have not been written yet
        TreeChange const* firstChange;
        TreeChange const* lastChange; ///< the end of the changes that are not written yet
        std::size_t depth;            ///< size of this directory's path, with a "/" at the end
        std::string_view name;
        std::uint32_t count = 0;
        bool isKept = false;         ///< even if it becomes empty
        Entry const* file = nullptr; ///< the file at this path, kept if nothing is added below it
    };

    static std::size_t roomFor(IndexedTree const& from, Changes const& changes) {
        std::size_t room = longestTreeHead + from.payload.size() + longestHead;
        for (TreeChange const& change : changes) {
            auto const levels = 1 + std::count(change.path.begin(), change.path.end(), '/');
            room += change.path.size() + change.content.size() +
                    static_cast<std::size_t>(levels + 1) * 2 * longestHead;
        }
        return room;
    }

    void open(Entry const* before, TreeChange const* first, TreeChange const* last, std::size_t depth,
              std::string_view name) {
        std::uint32_t const children = before != nullptr ? before->count : 0;
        _open.push_back({before, children, first, last, depth, name});
    }

    /** Writes the last child that changes, and before that the unchanged children that follow it. */
    void step(Directory& directory) {
        std::string_view const path = directory.lastChange[-1].path;
        std::string_view const name =
            path.substr(directory.depth, path.find('/', directory.depth) - directory.depth);
        std::size_t const depth = directory.depth + name.size();
        TreeChange const* first = directory.lastChange;
        while (first != directory.firstChange && leadsTo(first[-1].path, directory.depth, name))
            --first;
        TreeChange const* const last = std::exchange(directory.lastChange, first);

        copyChildren(directory, childrenUpTo(directory, name));
        Entry const* before = nullptr;
        if (directory.left != 0 && _from.nameOf(childAt(directory, directory.left - 1)) == name)
            before = &childAt(directory, --directory.left);
        bool const isExact = first->path.size() == depth;
        if (isExact && first->kind == TreeChange::Kind::file) {
            prepend(Major::bytes, first->content);
            prepend(Major::text, name);
            ++directory.count;
            return;
        }
        bool const wasDirectory = before != nullptr && before->isDirectory();
        bool const isRemoved = isExact && first->kind == TreeChange::Kind::removed;
        bool const isMade = isExact && first->kind == TreeChange::Kind::directory;
        open(wasDirectory ? before : nullptr, isExact ? first + 1 : first, last, depth + 1, name);
        _open.back().isKept = isMade || (wasDirectory && !isRemoved);
        _open.back().file = !wasDirectory && !isMade && !isRemoved ? before : nullptr;
    }

    /** Whether a path is that of the child `name` in the directory at `depth`, or below it. */
    static bool leadsTo(std::string const& path, std::size_t depth, std::string_view name) {
        return path.compare(depth, name.size(), name) == 0 &&
               (path.size() == depth + name.size() || path[depth + name.size()] == '/');
    }

    [[nodiscard]] Entry const& childAt(Directory const& directory, std::uint32_t place) const {
        return _from.entries[directory.before->first + place];
    }

    /** How many of a directory's unwritten children have names up to and including `name`. */
    [[nodiscard]] std::uint32_t childrenUpTo(Directory const& directory, std::string_view name) const {
        if (directory.left == 0)
            return 0;
        Entry const* const begin = _from.entries.data() + directory.before->first;
        Entry const* const end = std::upper_bound(
            begin, begin + directory.left, name,
            [this](std::string_view wanted, Entry const& entry) { return wanted < _from.nameOf(entry); });
        return static_cast<std::uint32_t>(end - begin);
    }

    /** Copies the unwritten children, except for the first `until`. */
    void copyChildren(Directory& directory, std::uint32_t until) {
        while (directory.left > until) {
            // Children that are adjacent in the payload are copied at once.
            Entry const& last = childAt(directory, directory.left - 1);
            Entry const* first = &last;
            while (--directory.left > until && childAt(directory, directory.left - 1).end == first->item) {
                first = &childAt(directory, directory.left - 1);
                ++directory.count;
            }
            ++directory.count;
            prepend({_from.payload.data() + first->item, last.end - first->item});
        }
    }

    /** Completes a directory whose children are all written. */
    void close() {
        Directory const directory = _open.back();
        _open.pop_back();
        if (directory.count == 0 && !directory.isKept) {
            if (directory.file == nullptr)
                return;
            prepend(Major::bytes, _from.contentOf(*directory.file));
        } else {
            prependHead(Major::map, directory.count);
        }
        if (_open.empty())
            return;
        prepend(Major::text, directory.name);
        ++_open.back().count;
    }

    void prepend(std::string_view bytes) {
        _begin -= bytes.size();
        std::memcpy(_begin, bytes.data(), bytes.size());
    }
    void prepend(Major major, std::string_view bytes) {
        prepend(bytes);
        prependHead(major, bytes.size());
    }
    void prependHead(Major major, std::uint64_t number) {
        char head[longestHead];
        char const* const end = writeHead(head, major, number);
        prepend({head, static_cast<std::size_t>(end - head)});
    }

    IndexedTree const& _from;
    std::size_t _room;
    std::shared_ptr<char[]> _block;
    char* _begin;
    std::vector<Directory> _open;
};

} // namespace

TreeImage TreeImage::with(std::vector<TreeChange> const& changes) const {
    if (changes.empty())
        return *this;
    return TreeImage(Patch(*_tree, changes).run());
}

} // namespace filesystem
