// SPDX-License-Identifier: Apache-2.0
#include "TreeFormat.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include <cbor.h>
#include <zlib.h>

#include "PathPlace.h"
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

template <class Number>
void appendHead(std::string& out, std::size_t (*encode)(Number, unsigned char*, std::size_t), Number number) {
    unsigned char head[9];
    out.append(reinterpret_cast<char const*>(head), encode(number, head, sizeof head));
}

/** Writes directories without recursion: a stack of the lists of children that are being gone through. */
class Encoder {
public:
    Encoder(Tree const& tree, std::string& out) : _tree(tree), _out(out) {}

    void write(NodeId directory) {
        enter(directory);
        while (!_open.empty()) {
            Range& range = _open.back();
            if (range.next == range.end) {
                _children.resize(range.begin);
                _open.pop_back();
                continue;
            }
            writeEntry(_children[range.next++]);
        }
    }

private:
    struct Range {
        std::size_t begin;
        std::size_t next;
        std::size_t end;
    };

    void enter(NodeId directory) {
        std::size_t const begin = _children.size();
        _tree.appendChildren(directory, _children);
        _open.push_back({begin, begin, _children.size()});
        appendHead(_out, cbor_encode_map_start, _children.size() - begin);
    }

    void writeEntry(NodeId id) {
        Node const& node = _tree[id];
        appendHead(_out, cbor_encode_string_start, node.name().size());
        _out += node.name();
        if (node.directory != 0) {
            enter(id);
            return;
        }
        appendHead(_out, cbor_encode_bytestring_start, node.content().size());
        _out += node.content();
    }

    Tree const& _tree;
    std::string& _out;
    std::vector<NodeId> _children;
    std::vector<Range> _open;
};

enum class Kind { other, number, text, bytes, array, map, tag };

/** One CBOR item's head, with the content of a string. */
struct Item {
    Kind kind;
    std::uint64_t number; ///< the value, tag, or number of elements
    std::string_view content;
};

/** Takes items off the front of some bytes. */
class Scanner {
public:
    explicit Scanner(std::string_view data) : _left(data) {}

    [[nodiscard]] std::size_t left() const { return _left.size(); }

    Item next() {
        Item item{Kind::other, 0, {}};
        cbor_decoder_result const result =
            cbor_stream_decode(reinterpret_cast<cbor_data>(_left.data()), _left.size(), &callbacks(), &item);
        if (result.status == CBOR_DECODER_NEDATA)
            throw utils::Exception("it is cut short");
        if (result.status == CBOR_DECODER_ERROR)
            throw utils::Exception("it is not CBOR");
        _left.remove_prefix(result.read);
        return item;
    }

    Item next(Kind kind, char const* otherwise) {
        Item const item = next();
        if (item.kind != kind)
            throw utils::Exception(otherwise);
        return item;
    }

private:
    template <Kind Is, class Number>
    static void takeNumber(void* item, Number number) {
        *static_cast<Item*>(item) = {Is, number, {}};
    }

    template <Kind Is>
    static void takeString(void* item, cbor_data data, std::size_t size) {
        *static_cast<Item*>(item) = {Is, size, {reinterpret_cast<char const*>(data), size}};
    }

    /** What is not listed here, indefinite lengths included, stays of the other kind. */
    static cbor_callbacks const& callbacks() {
        static cbor_callbacks const table = [] {
            cbor_callbacks result = cbor_empty_callbacks;
            result.uint8 = takeNumber<Kind::number>;
            result.uint16 = takeNumber<Kind::number>;
            result.uint32 = takeNumber<Kind::number>;
            result.uint64 = takeNumber<Kind::number>;
            result.byte_string = takeString<Kind::bytes>;
            result.string = takeString<Kind::text>;
            result.array_start = takeNumber<Kind::array>;
            result.map_start = takeNumber<Kind::map>;
            result.tag = takeNumber<Kind::tag>;
            return result;
        }();
        return table;
    }

    std::string_view _left;
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
        PathPlace const place = directory.place.below(name);
        NodeId const id = _result.add(directory.id, name, place.hash(), value.kind == Kind::map);
        if (value.kind == Kind::map)
            enter(id, place, value);
        else if (!value.content.empty())
            std::memcpy(_tree[id].replaceContent(value.content.size()), value.content.data(),
                        value.content.size());
    }

    /** No name twice; names that came in ascending order cannot be. */
    void checkNames(NodeId directory) {
        if (_tree[directory].ordered != 0)
            return;
        _sorted.clear();
        _tree.appendChildren(directory, _sorted);
        auto const twice =
            std::adjacent_find(_sorted.begin(), _sorted.end(), [this](NodeId left, NodeId right) {
                return _tree[left].name() == _tree[right].name();
            });
        if (twice != _sorted.end())
            throw utils::Exception("it holds a name twice: \"" + std::string(_tree[*twice].name()) + '"');
    }

    Tree& _tree;
    Tree::Apart& _result;
    PathPlace _topPlace;
    Scanner _scanner;
    std::vector<Directory> _open;
    std::vector<NodeId> _sorted;
};

} // namespace

std::string encodeTree(Tree const& tree, NodeId directory) {
    std::string payload;
    if (directory == noNode)
        appendHead(payload, cbor_encode_map_start, std::size_t{0});
    else
        Encoder(tree, payload).write(directory);

    std::string item;
    item.reserve(payload.size() + 32);
    item += selfDescribedTag;
    appendHead(item, cbor_encode_array_start, std::size_t{3});
    appendHead(item, cbor_encode_uint, formatVersion);
    appendHead(item, cbor_encode_uint, std::uint64_t{checksum(payload)});
    appendHead(item, cbor_encode_tag, embeddedItemTag);
    appendHead(item, cbor_encode_bytestring_start, payload.size());
    return item += payload;
}

std::size_t decodeTree(Tree& tree, Tree::Apart& result, TreePath const& path, std::string_view data) {
    if (data.substr(0, selfDescribedTag.size()) != selfDescribedTag.substr(0, data.size()))
        throw utils::Exception("it is not a register file");
    Scanner scanner(data);
    scanner.next(); // that tag, whole
    if (scanner.next(Kind::array, "it is not a register file").number != 3)
        throw utils::Exception("it is not a register file");
    std::uint64_t const version = scanner.next(Kind::number, "it has no format version").number;
    if (version != formatVersion)
        throw utils::Exception("its format version is unknown: " + std::to_string(version));
    std::uint64_t const expected = scanner.next(Kind::number, "it has no checksum").number;
    if (scanner.next(Kind::tag, "it has no payload").number != embeddedItemTag)
        throw utils::Exception("it has no payload");
    std::string_view const payload = scanner.next(Kind::bytes, "it has no payload").content;
    if (checksum(payload) != expected)
        throw utils::Exception("its checksum does not match");
    Decoder(tree, result, path, payload).read();
    return data.size() - scanner.left();
}

} // namespace filesystem
