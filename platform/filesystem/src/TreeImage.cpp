// SPDX-License-Identifier: Apache-2.0
#include "filesystem/TreeImage.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>

#include "CborItems.h"
#include "DirectAccess.h"
#include "PathPlace.h"
#include "TreeFormat.h"
#include "TreePath.h"

namespace filesystem {

NewerFormat::~NewerFormat() = default;

namespace {

std::uint32_t narrow(std::size_t number) {
    return static_cast<std::uint32_t>(number);
}

} // namespace

/** Indexes a payload without recursion: a stack of the directories whose entries are still to come. */
class TreeImage::Parser {
public:
    Parser(TreeImage& image, std::string_view payload)
        : _image(image), _begin(payload.data()), _size(payload.size()), _scanner(payload) {}

    void parse() {
        _image._entries.assign(1, Entry{});
        Item const top = _scanner.next();
        if (top.kind != Kind::map)
            refuseAsDamaged("its payload is not a directory");
        enter(0, top);
        while (!_open.empty()) {
            if (_open.back().next == _open.back().end)
                leave();
            else
                parseEntry();
        }
        if (_scanner.left() != 0)
            refuseAsDamaged("its payload has bytes after the tree");
    }

private:
    struct Directory {
        std::uint32_t entry;
        std::uint32_t next;
        std::uint32_t end;
        bool isOrdered;
    };

    [[nodiscard]] std::uint32_t position() const { return narrow(_size - _scanner.left()); }

    void enter(std::uint32_t entry, Item const& map) {
        // An entry takes at least two bytes, so no count can promise more than there is.
        if (map.number > _scanner.left() / 2)
            refuseAsTruncated();
        auto& entries = _image._entries;
        auto const first = narrow(entries.size());
        auto const count = narrow(map.number);
        entries[entry].isDirectory = true;
        entries[entry].first = first;
        entries[entry].count = count;
        entries.resize(entries.size() + count);
        _open.push_back({entry, first, first + count, true});
    }

    void leave() {
        Directory const directory = _open.back();
        _open.pop_back();
        _image._entries[directory.entry].end = position();
        if (!directory.isOrdered)
            sort(_image._entries[directory.entry]);
    }

    void parseEntry() {
        Directory& directory = _open.back();
        std::uint32_t const entry = directory.next++;
        std::uint32_t const begin = position();
        auto const [name, value] = takeEntry(_scanner);
        Entry& made = _image._entries[entry];
        made.item = begin;
        made.name = narrow(static_cast<std::size_t>(name.data() - _begin));
        made.nameSize = narrow(name.size());
        if (entry != _image._entries[directory.entry].first &&
            _image.nameOf(_image._entries[entry - 1]) >= name)
            directory.isOrdered = false;
        if (value.kind == Kind::map) {
            enter(entry, value);
            return;
        }
        ++_image._fileCount;
        made.first = narrow(static_cast<std::size_t>(value.content.data() - _begin));
        made.count = narrow(value.content.size());
        made.end = position();
    }

    void sort(Entry const& directory) {
        auto const begin = _image._entries.begin() + directory.first;
        auto const end = begin + directory.count;
        auto const name = [this](Entry const& entry) { return _image.nameOf(entry); };
        std::sort(begin, end,
                  [&](Entry const& left, Entry const& right) { return name(left) < name(right); });
        auto const twice = std::adjacent_find(
            begin, end, [&](Entry const& left, Entry const& right) { return name(left) == name(right); });
        if (twice != end)
            refuseAsDamaged("duplicate name: " + quoted(name(*twice)));
    }

    TreeImage& _image;
    char const* _begin;
    std::size_t _size;
    Scanner _scanner;
    std::vector<Directory> _open;
};

/** Builds a tree in memory without recursion: a stack of the directories whose entries are still to come. */
class TreeImage::Builder {
public:
    Builder(TreeImage const& image, Tree::Apart& result) : _image(image), _result(result) {}

    /** The result is to stand at `path`. */
    void build(TreePath const& path) {
        enter(_image._entries.front(), _result.directory(), PathPlace(path));
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
        std::uint32_t left; ///< entries still to come
    };

    void enter(Entry const& entry, NodeId id, PathPlace const& place) {
        _open.push_back({id, place, _image._entries.data() + entry.first, entry.count});
    }

    void add(Directory& directory) {
        Entry const& entry = *directory.next++;
        --directory.left;
        std::string_view const name = _image.nameOf(entry);
        std::uint32_t const hash = directory.place.hashOf(name);
        if (entry.isDirectory)
            enter(entry, _result.addDirectory(directory.id, name, hash), directory.place.below(name));
        else
            _result.addFile(directory.id, name, hash, _image.contentOf(entry));
    }

    TreeImage const& _image;
    Tree::Apart& _result;
    std::vector<Directory> _open;
};

TreeImage::TreeImage() {
    constexpr std::string_view payload = "\xA0"; // an empty map
    char head[longestTreeHead];
    char const* const end = writeTreeHead(head, payload);
    *this = TreeImage(std::string(head, static_cast<std::size_t>(end - head)).append(payload));
}

TreeImage::TreeImage(std::string bytes) : _bytes(std::move(bytes)) {
    TreeHead const head = decodeTreeHead(std::string_view(_bytes).substr(0, longestTreeHead));
    auto const payload = std::string_view(_bytes).substr(head.size, head.payloadSize);
    checkPayload(head, payload);
    _bytes.resize(head.size + payload.size());
    index(head.size, payload.size());
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
    Tree::Apart built(tree);
    Builder(*this, built).build(place);
    if (!tree.graft(std::move(built), place))
        throw utils::Exception("no directory can be made at " + path);
}

void TreeImage::index(std::size_t payload, std::size_t size) {
    if (size > std::numeric_limits<std::uint32_t>::max())
        throw utils::Exception("larger than 4 GiB");
    _payload = payload;
    Parser(*this, std::string_view(_bytes).substr(payload, size)).parse();
}

std::string_view TreeImage::nameOf(Entry const& entry) const {
    return {_bytes.data() + _payload + entry.name, entry.nameSize};
}

std::string_view TreeImage::contentOf(Entry const& entry) const {
    return {_bytes.data() + _payload + entry.first, entry.count};
}

TreeImage::Entry const* TreeImage::child(Entry const& directory, std::string_view name) const {
    auto const begin = _entries.begin() + directory.first;
    auto const end = begin + directory.count;
    auto const found =
        std::lower_bound(begin, end, name, [this](Entry const& entry, std::string_view wanted) {
            return nameOf(entry) < wanted;
        });
    return found != end && nameOf(*found) == name ? &*found : nullptr;
}

TreeImage::Entry const* TreeImage::find(std::string_view path) const {
    Entry const* entry = &_entries.front();
    while (!path.empty() && entry != nullptr) {
        std::string_view const name = path.substr(0, path.find('/'));
        path.remove_prefix(std::min(path.size(), name.size() + 1));
        entry = entry->isDirectory ? child(*entry, name) : nullptr;
    }
    return entry;
}

/** Compares two trees without recursion: a stack of the pairs of directories that are being gone through. */
class TreeImage::Comparison {
public:
    Comparison(TreeImage const& from, TreeImage const& to, std::string path)
        : _from(from), _to(to), _path(std::move(path)) {}

    /** Compares two entries at the path; null for nothing. */
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

    /** Which tree has the next entry: below 0 the one before, above 0 the one after, 0 both. */
    [[nodiscard]] int orderOf(Pair const& pair) const {
        if (pair.before == pair.beforeEnd)
            return 1;
        if (pair.after == pair.afterEnd)
            return -1;
        return _from.nameOf(*pair.before).compare(_to.nameOf(*pair.after));
    }

    /** Whether two entries are encoded alike, and so are the same. */
    [[nodiscard]] bool sameBytes(Entry const& before, Entry const& after) const {
        std::size_t const size = before.end - before.item;
        return size == after.end - after.item &&
               std::memcmp(_from._bytes.data() + _from._payload + before.item,
                           _to._bytes.data() + _to._payload + after.item, size) == 0;
    }

    void compare(Entry const* before, Entry const* after) {
        bool const wasDirectory = before != nullptr && before->isDirectory;
        bool const isDirectory = after != nullptr && after->isDirectory;
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
        if (before == nullptr || before->isDirectory || _from.contentOf(*before) != content)
            _changes.push_back({_path, Kind::file, std::string(content)});
    }

    static Entry const* childrenOf(TreeImage const& image, Entry const* directory, bool isDirectory) {
        return isDirectory ? image._entries.data() + directory->first : nullptr;
    }
    static Entry const* endOfChildren(TreeImage const& image, Entry const* directory, bool isDirectory) {
        return isDirectory ? image._entries.data() + directory->first + directory->count : nullptr;
    }

    TreeImage const& _from;
    TreeImage const& _to;
    std::string _path;
    std::vector<Pair> _open;
    std::vector<TreeChange> _changes;
};

std::vector<TreeChange> TreeImage::differencesTo(TreeImage const& other) const {
    return differencesToDirectory({}, other);
}

std::vector<TreeChange> TreeImage::differencesToNothing(std::string const& path) const {
    return Comparison(*this, *this, path).run(find(path), nullptr);
}

std::vector<TreeChange> TreeImage::differencesToFile(std::string const& path,
                                                     std::string_view content) const {
    Entry const* const before = find(path);
    if (before != nullptr && !before->isDirectory && contentOf(*before) == content)
        return {};
    std::vector<TreeChange> changes{{path, TreeChange::Kind::file, std::string(content)}};
    if (before != nullptr && before->isDirectory) {
        auto below = Comparison(*this, *this, path).run(before, nullptr);
        changes.insert(changes.end(), std::make_move_iterator(below.begin() + 1),
                       std::make_move_iterator(below.end()));
    }
    return changes;
}

std::vector<TreeChange> TreeImage::differencesToDirectory(std::string const& path,
                                                          TreeImage const& tree) const {
    return Comparison(*this, tree, path).run(find(path), &tree._entries.front());
}

/**
 * Writes a payload from its end to its beginning, so that a directory's count of children is known when its turn
 * comes. Without recursion: a stack of the directories that changes lie in. Everything else is copied.
 */
class TreeImage::Patch {
public:
    using Changes = std::vector<TreeChange>;

    Patch(TreeImage const& from, Changes const& changes)
        : _from(from), _room(roomFor(from, changes)), _block(new char[_room]), _begin(_block.get() + _room) {
        open(&from._entries.front(), changes.data(), changes.data() + changes.size(), 0, {});
        _open.back().isKept = true;
    }

    /** Result: the bytes of a register file. */
    std::string run() {
        while (!_open.empty()) {
            Directory& directory = _open.back();
            if (directory.lastChange == directory.firstChange) {
                copyChildren(directory, 0);
                close();
            } else {
                step(directory);
            }
        }
        std::string_view const payload(_begin, static_cast<std::size_t>(_block.get() + _room - _begin));
        char front[longestTreeHead];
        char const* const end = writeTreeHead(front, payload);
        auto const size = static_cast<std::size_t>(end - front);
        std::string bytes;
        bytes.reserve(size + payload.size());
        return bytes.append(front, size).append(payload);
    }

private:
    struct Directory {
        Entry const* before; ///< null if it is new
        std::uint32_t left;  ///< of its children, those still to come
        TreeChange const* firstChange;
        TreeChange const* lastChange; ///< one past those still to come
        std::size_t depth; ///< how many bytes of the changes' paths lead here, with a "/" at the end
        std::string_view name;
        std::uint32_t count = 0;
        bool isKept = false;         ///< even if nothing is left in it
        Entry const* file = nullptr; ///< what is here instead if nothing comes into it
    };

    static std::size_t roomFor(TreeImage const& from, Changes const& changes) {
        std::size_t room = from._entries.front().end + longestHead;
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

    /** Takes the last child that a change concerns, after those behind it. */
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
        bool const wasDirectory = before != nullptr && before->isDirectory;
        bool const isRemoved = isExact && first->kind == TreeChange::Kind::removed;
        bool const isMade = isExact && first->kind == TreeChange::Kind::directory;
        open(wasDirectory ? before : nullptr, isExact ? first + 1 : first, last, depth + 1, name);
        _open.back().isKept = isMade || (wasDirectory && !isRemoved);
        _open.back().file = !wasDirectory && !isMade && !isRemoved ? before : nullptr;
    }

    /** Whether a path goes through the child `name` of the directory at `depth`, or ends there. */
    static bool leadsTo(std::string const& path, std::size_t depth, std::string_view name) {
        return path.compare(depth, name.size(), name) == 0 &&
               (path.size() == depth + name.size() || path[depth + name.size()] == '/');
    }

    [[nodiscard]] Entry const& childAt(Directory const& directory, std::uint32_t place) const {
        return _from._entries[directory.before->first + place];
    }

    /** How many of a directory's children, of those still to come, stand before `name` or have it. */
    [[nodiscard]] std::uint32_t childrenUpTo(Directory const& directory, std::string_view name) const {
        if (directory.left == 0)
            return 0;
        auto const begin = _from._entries.begin() + directory.before->first;
        auto const end = std::upper_bound(
            begin, begin + directory.left, name,
            [this](std::string_view wanted, Entry const& entry) { return wanted < _from.nameOf(entry); });
        return narrow(static_cast<std::size_t>(end - begin));
    }

    /** Copies the children still to come, but for the first `until`. */
    void copyChildren(Directory& directory, std::uint32_t until) {
        while (directory.left > until) {
            // Those that lie side by side in the payload go at once.
            Entry const& last = childAt(directory, directory.left - 1);
            Entry const* first = &last;
            while (--directory.left > until && childAt(directory, directory.left - 1).end == first->item) {
                first = &childAt(directory, directory.left - 1);
                ++directory.count;
            }
            ++directory.count;
            prepend({_from._bytes.data() + _from._payload + first->item, last.end - first->item});
        }
    }

    /** Ends a directory whose children are all written. */
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

    TreeImage const& _from;
    std::size_t _room;
    std::unique_ptr<char[]> _block;
    char* _begin;
    std::vector<Directory> _open;
};

TreeImage TreeImage::with(std::vector<TreeChange> const& changes) const {
    if (changes.empty())
        return *this;
    return TreeImage(Patch(*this, changes).run());
}

} // namespace filesystem
