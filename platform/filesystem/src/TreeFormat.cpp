// SPDX-License-Identifier: Apache-2.0
#include "TreeFormat.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <cbor.h>
#include <zlib.h>

#include "PathPlace.h"
#include "Words.h"
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

/** CBOR's major types, as far as they occur here; each stands in the first three bits of a head. */
enum class Major : unsigned char { number = 0, bytes = 2, text = 3, array = 4, map = 5, tag = 6, other = 7 };

constexpr std::uint64_t shortNumbers = 24; // those below stand in a head's first byte
constexpr unsigned lastDefinite = 27;      // what the first byte has in place of a number of 8 bytes

constexpr std::size_t longestHead = 9;

static_assert(longestTreeHead == selfDescribedTag.size() + 5 * longestHead);

/** Writes a head where there is room for the longest. Result: where it ends. */
char* writeHead(char* target, Major major, std::uint64_t number) {
    auto* const bytes = reinterpret_cast<unsigned char*>(target);
    if (number < shortNumbers) {
        *bytes = static_cast<unsigned char>(static_cast<unsigned>(major) << 5 | number);
        return target + 1;
    }
    std::size_t const length = cbor_encode_uint(number, bytes, longestHead);
    *bytes = static_cast<unsigned char>(*bytes | static_cast<unsigned>(major) << 5);
    return target + length;
}

char* writeText(char* target, std::string_view text) {
    copyBytes(target, text.data(), text.size());
    return target + text.size();
}

/** Bytes that grow at their end, with room in front of them. */
class Output {
public:
    explicit Output(std::size_t room)
        : _begin(room), _size(room), _capacity(smallest), _block(make(smallest)) {}

    /** The end, with room for `count` bytes after it. */
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

[[noreturn]] void refuseAsDamaged(std::string const& damage) {
    throw utils::Exception("damaged: " + damage);
}

[[noreturn]] void refuseAsTruncated() {
    refuseAsDamaged("truncated");
}

std::string quoted(std::string_view name) {
    return '"' + std::string(name) + '"';
}

enum class Kind { other, number, text, bytes, map };

/** One CBOR item's head, with the content of a string. */
struct Item {
    Kind kind;
    std::uint64_t number; ///< the value, or the number of elements
    std::string_view content;
};

/** The head of an item alone. */
struct Head {
    Major major;
    std::uint64_t number; ///< the value, the tag, the number of elements or the size of a string
};

/** Takes items off the front of some bytes. */
class Scanner {
public:
    explicit Scanner(std::string_view data) : _left(data) {}

    [[nodiscard]] std::size_t left() const { return _left.size(); }

    Item next() {
        Item item{Kind::other, 0, {}};
        if (takeShortItem(item))
            return item;
        _left.remove_prefix(decode(_left, item));
        return item;
    }

    /** A string's content need not be there. A head without a definite number is of no major type. */
    Head nextHead() {
        if (_left.empty())
            refuseAsTruncated();
        unsigned const first = static_cast<unsigned char>(_left[0]);
        if ((first & 0x1FU) > lastDefinite)
            return {Major::other, 0};
        // Heads differ in their first three bits only, which are 0 in that of a number.
        char asNumber[longestHead];
        std::size_t const size = _left.copy(asNumber, longestHead);
        asNumber[0] = static_cast<char>(first & 0x1FU);
        Item item{Kind::other, 0, {}};
        _left.remove_prefix(decode({asNumber, size}, item));
        return {static_cast<Major>(first >> 5), item.number};
    }

private:
    /** Takes what nearly all items are: a string or a map whose head is one byte. */
    bool takeShortItem(Item& item) {
        if (_left.empty())
            return false;
        auto const head = static_cast<unsigned char>(_left.front());
        std::size_t const number = head & 0x1FU;
        auto const major = static_cast<Major>(head >> 5);
        if (number >= shortNumbers)
            return false;
        if (major == Major::map) {
            item = {Kind::map, number, {}};
            _left.remove_prefix(1);
            return true;
        }
        if ((major != Major::text && major != Major::bytes) || number >= _left.size())
            return false;
        item = {major == Major::text ? Kind::text : Kind::bytes, number, _left.substr(1, number)};
        _left.remove_prefix(1 + number);
        return true;
    }

    /** Result: the bytes that the item takes. */
    static std::size_t decode(std::string_view data, Item& item) {
        cbor_decoder_result const result =
            cbor_stream_decode(reinterpret_cast<cbor_data>(data.data()), data.size(), &callbacks(), &item);
        if (result.status == CBOR_DECODER_NEDATA)
            refuseAsTruncated();
        if (result.status == CBOR_DECODER_ERROR)
            refuseAsDamaged("not CBOR");
        return result.read;
    }

    template <Kind Is, class Number>
    static void takeNumber(void* item, Number number) {
        *static_cast<Item*>(item) = {Is, number, {}};
    }

    template <Kind Is>
    static void takeString(void* item, cbor_data data, std::size_t size) {
        *static_cast<Item*>(item) = {Is, size, {reinterpret_cast<char const*>(data), size}};
    }

    /** Whatever is not listed here, indefinite lengths included, stays of the other kind. */
    static cbor_callbacks const& callbacks() {
        static cbor_callbacks const table = [] {
            cbor_callbacks result = cbor_empty_callbacks;
            result.uint8 = takeNumber<Kind::number>;
            result.uint16 = takeNumber<Kind::number>;
            result.uint32 = takeNumber<Kind::number>;
            result.uint64 = takeNumber<Kind::number>;
            result.byte_string = takeString<Kind::bytes>;
            result.string = takeString<Kind::text>;
            result.map_start = takeNumber<Kind::map>;
            return result;
        }();
        return table;
    }

    std::string_view _left;
};

/**
 * Reads a payload without recursion, with a stack of the directories whose entries are still to come, and hands each
 * entry to a visitor, which keeps a `Directory` of its own kind for each directory on the stack.
 */
template <class Visitor>
class Decoder {
public:
    Decoder(Visitor& visitor, std::string_view payload) : _visitor(visitor), _scanner(payload) {}

    /** Errors: `utils::Exception` for anything but one tree; any exception of the visitor's. */
    void read() {
        Item const top = _scanner.next();
        if (top.kind != Kind::map)
            refuseAsDamaged("its payload is not a directory");
        enter(_visitor.top(), top);
        while (!_open.empty()) {
            if (_open.back().left != 0) {
                readEntry();
            } else {
                _visitor.leave(_open.back().directory);
                _open.pop_back();
            }
        }
        if (_scanner.left() != 0)
            refuseAsDamaged("its payload has bytes after the tree");
    }

private:
    struct Level {
        typename Visitor::Directory directory;
        std::uint64_t left; ///< entries still to come
    };

    void enter(typename Visitor::Directory const& directory, Item const& map) {
        // An entry takes two bytes at least, so no count can promise more than there is.
        if (map.number > _scanner.left() / 2)
            refuseAsTruncated();
        _open.push_back({directory, map.number});
    }

    void readEntry() {
        Level& level = _open.back();
        --level.left;
        Item const key = _scanner.next();
        std::string_view const name = key.content;
        if (key.kind != Kind::text)
            refuseAsDamaged("a name is not text");
        if (!isName(name))
            refuseAsDamaged("invalid name: " + quoted(name));
        Item const value = _scanner.next();
        if (value.kind != Kind::map && value.kind != Kind::bytes)
            refuseAsDamaged("neither a directory nor a file: " + quoted(name));
        if (!Node::fits(name.size(), value.content.size()))
            refuseAsDamaged("too large: " + quoted(name));
        if (value.kind == Kind::map)
            enter(_visitor.addDirectory(level.directory, name), value);
        else
            _visitor.addFile(level.directory, name, value.content);
    }

    Visitor& _visitor;
    Scanner _scanner;
    std::vector<Level> _open;
};

/** Builds the tree. */
class Builder {
public:
    struct Directory {
        NodeId id;
        PathPlace place;
    };

    Builder(Tree& tree, Tree::Apart& result, TreePath const& path)
        : _tree(tree), _result(result), _topPlace(path) {}

    [[nodiscard]] Directory top() const { return {_result.directory(), _topPlace}; }

    Directory addDirectory(Directory const& parent, std::string_view name) {
        return {_result.addDirectory(parent.id, name, parent.place.hashOf(name)), parent.place.below(name)};
    }

    void addFile(Directory const& parent, std::string_view name, std::string_view content) {
        _result.addFile(parent.id, name, parent.place.hashOf(name), content);
    }

    /** Refuses a duplicate name, which names in ascending order cannot include. */
    void leave(Directory const& directory) {
        if (_tree.areOrdered(directory.id))
            return;
        auto const& sorted = _tree.children(directory.id);
        auto const twice =
            std::adjacent_find(sorted.begin(), sorted.end(), [this](NodeId left, NodeId right) {
                return _tree[left].name() == _tree[right].name();
            });
        if (twice != sorted.end())
            refuseAsDamaged("duplicate name: " + quoted(_tree[*twice].name()));
    }

private:
    Tree& _tree;
    Tree::Apart& _result;
    PathPlace _topPlace;
};

/** Builds nothing; checks that the names are in ascending order, as they are in everything that is written. */
class OrderCheck {
public:
    struct Directory {
        std::string_view last; ///< the name before; empty at first
    };

    static Directory top() { return {}; }

    static Directory addDirectory(Directory& parent, std::string_view name) {
        check(parent, name);
        return {};
    }

    static void addFile(Directory& parent, std::string_view name, std::string_view /*content*/) {
        check(parent, name);
    }

    static void leave(Directory const& /*directory*/) {}

private:
    static void check(Directory& directory, std::string_view name) {
        if (!precedes(directory.last, name))
            refuseAsDamaged("names out of order: " + quoted(name));
        directory.last = name;
    }
};

bool isSound(std::string_view payload) {
    try {
        OrderCheck check;
        Decoder<OrderCheck>(check, payload).read();
        return true;
    } catch (utils::Exception const&) {
        return false;
    }
}

} // namespace

std::optional<Bytes> encodeTree(Tree& tree, NodeId directory) {
    char front[longestTreeHead];
    Output out(sizeof front);
    if (directory == noNode)
        out.setEnd(writeHead(out.end(longestHead), Major::map, 0));
    else
        Encoder(tree, out).write(directory);

    std::string_view const payload = out.content();
    if (!isSound(payload))
        return std::nullopt;
    char* end = writeText(front, selfDescribedTag);
    end = writeHead(end, Major::array, 3);
    end = writeHead(end, Major::number, formatVersion);
    end = writeHead(end, Major::number, checksum(payload));
    end = writeHead(end, Major::tag, embeddedItemTag);
    end = writeHead(end, Major::bytes, payload.size());
    out.prepend({front, static_cast<std::size_t>(end - front)});
    return out.release();
}

TreeHead decodeTreeHead(std::string_view start) {
    constexpr char const* otherFile = "not a register file";
    if (start.substr(0, selfDescribedTag.size()) != selfDescribedTag.substr(0, start.size()))
        throw utils::Exception(otherFile);
    Scanner scanner(start);
    scanner.nextHead(); // that tag, whole
    Head const parts = scanner.nextHead();
    if (parts.major != Major::array || parts.number == 0)
        throw utils::Exception(otherFile);
    // Another version may have other parts, but starts with its number.
    Head const version = scanner.nextHead();
    if (version.major == Major::number && version.number != formatVersion)
        throw utils::Exception("format version " + std::to_string(version.number) +
                               " is not supported; this library reads version " +
                               std::to_string(formatVersion));
    if (parts.number != 3)
        throw utils::Exception(otherFile);
    if (version.major != Major::number)
        refuseAsDamaged("its format version is not a number");
    Head const crc = scanner.nextHead();
    if (crc.major != Major::number)
        refuseAsDamaged("its checksum is not a number");
    Head const embedded = scanner.nextHead();
    if (embedded.major != Major::tag || embedded.number != embeddedItemTag)
        refuseAsDamaged("it has no payload");
    Head const payload = scanner.nextHead();
    if (payload.major != Major::bytes)
        refuseAsDamaged("it has no payload");
    return {start.size() - scanner.left(), crc.number, payload.number};
}

void decodeTree(Tree& tree, Tree::Apart& result, TreePath const& path, TreeHead const& head,
                std::string_view payload) {
    if (payload.size() != head.payloadSize)
        refuseAsTruncated();
    if (checksum(payload) != head.checksum)
        refuseAsDamaged("its checksum does not match");
    Builder builder(tree, result, path);
    Decoder<Builder>(builder, payload).read();
}

} // namespace filesystem
