// SPDX-License-Identifier: Apache-2.0
#include "filesystem/TreeImage.h"

#include <algorithm>
#include <limits>

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

} // namespace filesystem
