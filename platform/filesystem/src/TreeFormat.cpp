// SPDX-License-Identifier: Apache-2.0
#include "TreeFormat.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <zlib.h>

#include "CborItems.h"
#include "PathPlace.h"
#include "Words.h"
#include "filesystem/TreeImage.h"
#include "utils/Exception.h"

namespace filesystem {

namespace {

constexpr std::string_view selfDescribedTag = "\xD9\xD9\xF7"; // 55799
constexpr std::uint64_t embeddedItemTag = 24;
constexpr std::uint64_t formatVersion = 1;

std::uint32_t checksum(std::string_view bytes) {
    return static_cast<std::uint32_t>(
        ::crc32_z(0, reinterpret_cast<Bytef const*>(bytes.data()), bytes.size()));
}

/** Bytes that grow at their end, with room in front of them. */
class Output {
public:
    explicit Output(std::size_t room)
        : _begin(room), _size(room), _capacity(smallest), _block(make(smallest)) {}

    /** The end, with room for `count` bytes behind it. */
    char* end(std::size_t count) {
        if (_capacity - _size < count)
            grow(count);
        return _block.get() + _size;
    }
    void setEnd(char const* end) { _size = static_cast<std::size_t>(end - _block.get()); }

    [[nodiscard]] std::string_view content() const { return {_block.get() + _begin, _size - _begin}; }

    /** Puts bytes in front, where there is room for them. */
    void prepend(std::string_view bytes) {
        _begin -= bytes.size();
        writeText(_block.get() + _begin, bytes);
    }

    Bytes release() {
        std::string_view const all = content();
        return {std::move(_block), all};
    }

private:
    static constexpr std::size_t smallest = 4'096;

    static std::unique_ptr<char[]> make(std::size_t size) { return std::unique_ptr<char[]>(new char[size]); }

    void grow(std::size_t count) {
        std::size_t const capacity = std::max(2 * _capacity, _size + count);
        auto larger = make(capacity);
        std::memcpy(larger.get(), _block.get(), _size);
        _block = std::move(larger);
        _capacity = capacity;
    }

    std::size_t _begin;
    std::size_t _size;
    std::size_t _capacity;
    std::unique_ptr<char[]> _block;
};

/** Writes directories without recursion: a stack of the lists of children that are being gone through. */
class Encoder {
public:
    Encoder(Tree& tree, Output& out) : _tree(tree), _out(out) {}

    void write(NodeId directory) {
        enter(directory);
        while (!_open.empty()) {
            Range& range = _open.back();
            if (range.next == range.end) {
                _open.pop_back();
                continue;
            }
            if (range.end - range.next > lookAhead)
                __builtin_prefetch(&_tree[range.next[lookAhead]]);
            writeEntry(*range.next++);
        }
    }

private:
    /** Entries, so that their nodes are at hand when they are written. */
    static constexpr std::ptrdiff_t lookAhead = 8;

    struct Range {
        NodeId const* next;
        NodeId const* end;
    };

    void enter(NodeId directory) {
        auto const& children = _tree.children(directory);
        _open.push_back({children.data(), children.data() + children.size()});
        _out.setEnd(writeHead(_out.end(longestHead), Major::map, children.size()));
    }

    void writeEntry(NodeId id) {
        Node const& node = _tree[id];
        bool const isFile = node.directory == 0;
        std::string_view const name = node.name();
        std::string_view const content = isFile ? node.content() : std::string_view();
        char* end = _out.end(2 * longestHead + name.size() + content.size());
        end = writeText(writeHead(end, Major::text, name.size()), name);
        if (isFile)
            end = writeText(writeHead(end, Major::bytes, content.size()), content);
        _out.setEnd(end);
        if (!isFile)
            enter(id);
    }

    Tree& _tree;
    Output& _out;
    std::vector<Range> _open;
};

/** Reads directories without recursion: a stack of those whose entries are still to come. */
class Decoder {
public:
    Decoder(Tree& tree, Tree::Apart& result, TreePath const& path, std::string_view payload)
        : _tree(tree), _result(result), _topPlace(path), _scanner(payload) {}

    void read() {
        enter(_result.directory(), _topPlace, _scanner.next(Kind::map, "its payload is not a directory"));
        while (!_open.empty()) {
            if (_open.back().left == 0)
                leave();
            else
                readEntry();
        }
        if (_scanner.left() != 0)
            throw utils::Exception("its payload goes on behind the tree");
    }

private:
    struct Directory {
        NodeId id;
        std::uint64_t left; ///< entries still to come
        PathPlace place;
    };

    void enter(NodeId id, PathPlace const& place, Item const& map) {
        // An entry takes two bytes at least, so no count can promise more than there is.
        if (map.number > _scanner.left() / 2)
            throw utils::Exception("it is cut short");
        _open.push_back({id, map.number, place});
    }

    void leave() {
        checkNames(_open.back().id);
        _open.pop_back();
    }

    void readEntry() {
        Directory& directory = _open.back();
        --directory.left;
        std::string_view const name = _scanner.next(Kind::text, "a name in it is not text").content;
        if (!isName(name))
            throw utils::Exception("it holds a name that no path reaches: \"" + std::string(name) + '"');
        Item const value = _scanner.next();
        if (value.kind != Kind::map && value.kind != Kind::bytes)
            throw utils::Exception("it holds what is neither a directory nor a file: \"" + std::string(name) +
                                   '"');
        if (!Node::fits(name.size(), value.content.size()))
            throw utils::Exception("it holds more under a name than memory takes");
        std::uint32_t const hash = directory.place.hashOf(name);
        if (value.kind == Kind::map)
            enter(_result.addDirectory(directory.id, name, hash), directory.place.below(name), value);
        else
            _result.addFile(directory.id, name, hash, value.content);
    }

    /** No name twice; names that came in ascending order cannot be. */
    void checkNames(NodeId directory) {
        if (_tree.areOrdered(directory))
            return;
        auto const& sorted = _tree.children(directory);
        auto const twice =
            std::adjacent_find(sorted.begin(), sorted.end(), [this](NodeId left, NodeId right) {
                return _tree[left].name() == _tree[right].name();
            });
        if (twice != sorted.end())
            throw utils::Exception("it holds a name twice: \"" + std::string(_tree[*twice].name()) + '"');
    }

    Tree& _tree;
    Tree::Apart& _result;
    PathPlace _topPlace;
    Scanner _scanner;
    std::vector<Directory> _open;
};

} // namespace

Bytes encodeTree(Tree& tree, NodeId directory) {
    char front[longestEnvelope];
    Output out(sizeof front);
    if (directory == noNode)
        out.setEnd(writeHead(out.end(longestHead), Major::map, 0));
    else
        Encoder(tree, out).write(directory);

    char const* const end = writeEnvelope(front, out.content());
    out.prepend({front, static_cast<std::size_t>(end - front)});
    return out.release();
}

Envelope readEnvelope(std::string_view data) {
    if (data.substr(0, selfDescribedTag.size()) != selfDescribedTag.substr(0, data.size()))
        throw utils::Exception("it is not a register file");
    Scanner scanner(data);
    scanner.next(); // that tag, whole
    if (scanner.next(Kind::array, "it is not a register file").number != 3)
        throw utils::Exception("it is not a register file");
    std::uint64_t const version = scanner.next(Kind::number, "it has no format version").number;
    if (version > formatVersion)
        throw NewerFormat("its format version is unknown: " + std::to_string(version));
    if (version != formatVersion)
        throw utils::Exception("its format version is unknown: " + std::to_string(version));
    std::uint64_t const expected = scanner.next(Kind::number, "it has no checksum").number;
    if (scanner.next(Kind::tag, "it has no payload").number != embeddedItemTag)
        throw utils::Exception("it has no payload");
    std::string_view const payload = scanner.next(Kind::bytes, "it has no payload").content;
    if (checksum(payload) != expected)
        throw utils::Exception("its checksum does not match");
    return {payload, data.size() - scanner.left()};
}

char* writeEnvelope(char* target, std::string_view payload) {
    char* end = writeText(target, selfDescribedTag);
    end = writeHead(end, Major::array, 3);
    end = writeHead(end, Major::number, formatVersion);
    end = writeHead(end, Major::number, checksum(payload));
    end = writeHead(end, Major::tag, embeddedItemTag);
    return writeHead(end, Major::bytes, payload.size());
}

std::size_t decodeTree(Tree& tree, Tree::Apart& result, TreePath const& path, std::string_view data) {
    Envelope const envelope = readEnvelope(data);
    Decoder(tree, result, path, envelope.payload).read();
    return envelope.size;
}

} // namespace filesystem
