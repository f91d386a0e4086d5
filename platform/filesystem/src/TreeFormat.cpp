// SPDX-License-Identifier: Apache-2.0
#include "TreeFormat.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "CborItems.h"
#include "Checksum.h"
#include "PathPlace.h"
#include "Words.h"
#include "filesystem/TreeImage.h"
#include "utils/Exception.h"

namespace filesystem {

namespace {

constexpr std::string_view selfDescribedTag = "\xD9\xD9\xF7"; // 55799
constexpr std::uint64_t embeddedItemTag = 24;
constexpr std::uint64_t formatVersion = 1;

static_assert(longestTreeHead == selfDescribedTag.size() + 5 * longestHead);

/** A buffer that grows at its end, with room at its front. */
class Output {
public:
    explicit Output(std::size_t room)
        : _begin(room), _size(room), _capacity(smallest), _block(make(smallest)) {}

    /** The end, with room for at least `count` more bytes. */
    char* end(std::size_t count) {
        if (_capacity - _size < count)
            grow(count);
        return _block.get() + _size;
    }
    void setEnd(char const* end) { _size = static_cast<std::size_t>(end - _block.get()); }

    [[nodiscard]] std::string_view content() const { return {_block.get() + _begin, _size - _begin}; }

    /** Adds bytes at the front, where there must be room for them. */
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

/** Encodes directories without recursion, with a stack of the lists of children that are being traversed. */
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
    /** How many entries ahead nodes are prefetched, so that they are in the cache when they are written. */
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

/**
 * Decodes a payload without recursion, with a stack of the directories whose entries are not all decoded. Passes each
 * entry to a visitor; the visitor's type `Directory` is its state for a directory on the stack.
 */
template <class Visitor>
class Decoder {
public:
    Decoder(Visitor& visitor, std::string_view payload) : _visitor(visitor), _scanner(payload) {}

    /** Errors: `utils::Exception` if the payload is not exactly one tree; those of the visitor. */
    void read() {
        Item const top = _scanner.next();
        if (top.kind != Kind::map)
            refuseAsDamaged("its payload is not a directory");
        enter(_visitor.top(), top.number);
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
        std::uint64_t left; ///< entries that have not been decoded
    };

    void enter(typename Visitor::Directory const& directory, std::uint64_t count) {
        // An entry has at least two bytes, so a larger count cannot be right.
        if (count > _scanner.left() / 2)
            refuseAsTruncated();
        _open.push_back({directory, count});
    }

    void readEntry() {
        Level& level = _open.back();
        --level.left;
        NamedItem const entry = takeEntry(_scanner);
        if (entry.isDirectory)
            enter(_visitor.addDirectory(level.directory, entry.name), entry.count);
        else
            _visitor.addFile(level.directory, entry.name, entry.content);
    }

    Visitor& _visitor;
    Scanner _scanner;
    std::vector<Level> _open;
};

/** A visitor that builds the tree. */
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
        _result.fill(_result.addFile(parent.id, name, parent.place.hashOf(name), content.size()), content);
    }

    /** Refuses duplicate names, which are impossible if the names are in ascending order. */
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

/** A visitor that only checks that all names are in ascending order, as in every file that is written. */
class OrderCheck {
public:
    struct Directory {
        std::string_view last; ///< the previous name; empty at first
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
    char const* const end = writeTreeHead(front, checksumOf(payload), payload.size());
    out.prepend({front, static_cast<std::size_t>(end - front)});
    return out.release();
}

char* writeTreeHead(char* target, std::uint32_t checksum, std::size_t payloadSize) {
    char* end = writeText(target, selfDescribedTag);
    end = writeHead(end, Major::array, 3);
    end = writeHead(end, Major::number, formatVersion);
    end = writeHead(end, Major::number, checksum);
    end = writeHead(end, Major::tag, embeddedItemTag);
    return writeHead(end, Major::bytes, payloadSize);
}

TreeHead decodeTreeHead(std::string_view start) {
    constexpr char const* otherFile = "not a register file";
    if (start.substr(0, selfDescribedTag.size()) != selfDescribedTag.substr(0, start.size()))
        throw utils::Exception(otherFile);
    Scanner scanner(start);
    scanner.nextHead(); // the tag, complete
    Head const parts = scanner.nextHead();
    if (parts.major != Major::array || parts.number == 0)
        throw utils::Exception(otherFile);
    // Other versions may have other parts, but the first one is always the version number.
    Head const version = scanner.nextHead();
    if (version.major == Major::number && version.number != formatVersion)
        throw NewerFormat("format version " + std::to_string(version.number) +
                          " is not supported; this library reads version " + std::to_string(formatVersion));
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

void checkPayload(TreeHead const& head, std::size_t size, std::uint32_t checksum) {
    if (size != head.payloadSize)
        refuseAsTruncated();
    if (checksum != head.checksum)
        refuseAsDamaged("its checksum does not match");
}

void decodeTree(Tree& tree, Tree::Apart& result, TreePath const& path, TreeHead const& head,
                std::string_view payload) {
    checkPayload(head, payload.size(), checksumOf(payload));
    Builder builder(tree, result, path);
    Decoder<Builder>(builder, payload).read();
}

} // namespace filesystem
