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
    void setEnd(char const* end) { _size = offset(end); }

    /** The place of a byte in the buffer; unlike its address, it does not change when the buffer grows. */
    [[nodiscard]] std::size_t offset(char const* byte) const {
        return static_cast<std::size_t>(byte - _block.get());
    }
    [[nodiscard]] char const* at(std::size_t offset) const { return _block.get() + offset; }

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

/**
 * Encodes directories without recursion, with a stack of the lists of children that are being traversed. Another thread
 * may change the tree without a lock meanwhile, so each size is read once, and names are checked in the output.
 */
class Encoder {
public:
    Encoder(Tree& tree, Output& out) : _tree(tree), _out(out) {}

    /** Result: whether everything that was written is valid. */
    [[nodiscard]] bool write(NodeId directory) {
        enter(directory);
        while (!_open.empty()) {
            Range& range = _open.back();
            if (range.next == range.end) {
                _open.pop_back();
                continue;
            }
            if (range.end - range.next > lookAhead)
                __builtin_prefetch(&_tree[range.next[lookAhead]]);
            if (!writeEntry(range, *range.next++))
                return false;
        }
        return true;
    }

private:
    /** How many entries ahead nodes are prefetched, so that they are in the cache when they are written. */
    static constexpr std::ptrdiff_t lookAhead = 8;

    struct Range {
        NodeId const* next;
        NodeId const* end;
        std::size_t last = 0;     ///< the offset of the previous name
        std::size_t lastSize = 0; ///< 0 before the first name
    };

    void enter(NodeId directory) {
        auto const& children = _tree.children(directory);
        std::size_t const count = children.size();
        _open.push_back({children.data(), children.data() + count});
        _out.setEnd(writeHead(_out.end(longestHead), Major::map, count));
    }

    [[nodiscard]] bool writeEntry(Range& range, NodeId id) {
        Node const& node = _tree[id];
        bool const isFile = node.directory == 0;
        std::string_view const name = node.name();
        std::string_view const content = isFile ? node.content() : std::string_view();
        if (!Node::fits(name.size(), content.size()))
            return false;
        char* const copied =
            writeHead(_out.end(2 * longestHead + name.size() + content.size()), Major::text, name.size());
        char* end = writeText(copied, name);
        if (isFile)
            end = writeText(writeHead(end, Major::bytes, content.size()), content);
        std::string_view const written(copied, name.size());
        if (!precedes({_out.at(range.last), range.lastSize}, written) || !isName(written))
            return false;
        range.last = _out.offset(copied);
        range.lastSize = name.size();
        _out.setEnd(end);
        if (!isFile)
            enter(id);
        return true;
    }

    Tree& _tree;
    Output& _out;
    std::vector<Range> _open;
};

/** Decodes a payload without recursion, with a stack of the directories whose entries are not all decoded. */
class Decoder {
public:
    Decoder(Tree& tree, Tree::Apart& result, std::string_view payload)
        : _tree(tree), _result(result), _scanner(payload) {}

    /**
     * `path` is the final path of the result.
     * Errors: `utils::Exception` if the payload is not exactly one tree.
     */
    void read(TreePath const& path) {
        Item const top = _scanner.next();
        if (top.kind != Kind::map)
            refuseAsDamaged("its payload is not a directory");
        enter(_result.directory(), PathPlace(path), top.number);
        while (!_open.empty()) {
            if (_open.back().left != 0) {
                readEntry();
            } else {
                leave(_open.back().id);
                _open.pop_back();
            }
        }
        if (_scanner.left() != 0)
            refuseAsDamaged("its payload has bytes after the tree");
    }

private:
    struct Directory {
        NodeId id;
        PathPlace place;
        std::uint64_t left; ///< entries that have not been decoded
    };

    void enter(NodeId id, PathPlace const& place, std::uint64_t count) {
        // An entry has at least two bytes, so a larger count cannot be right.
        if (count > _scanner.left() / 2)
            refuseAsTruncated();
        _open.push_back({id, place, count});
    }

    void readEntry() {
        Directory& parent = _open.back();
        --parent.left;
        NamedItem const entry = takeEntry(_scanner);
        std::uint32_t const hash = parent.place.hashOf(entry.name);
        if (entry.isDirectory)
            enter(_result.addDirectory(parent.id, entry.name, hash), parent.place.below(entry.name),
                  entry.count);
        else
            _result.fill(_result.addFile(parent.id, entry.name, hash, entry.content.size()), entry.content);
    }

    /** Refuses duplicate names, which are impossible if the names are in ascending order. */
    void leave(NodeId directory) {
        if (_tree.areOrdered(directory))
            return;
        auto const& sorted = _tree.children(directory);
        auto const twice =
            std::adjacent_find(sorted.begin(), sorted.end(), [this](NodeId left, NodeId right) {
                return _tree[left].name() == _tree[right].name();
            });
        if (twice != sorted.end())
            refuseAsDamaged("duplicate name: " + quoted(_tree[*twice].name()));
    }

    Tree& _tree;
    Tree::Apart& _result;
    Scanner _scanner;
    std::vector<Directory> _open;
};

} // namespace

std::optional<Bytes> encodeTree(Tree& tree, NodeId directory) {
    char front[longestTreeHead];
    Output out(sizeof front);
    if (directory == noNode)
        out.setEnd(writeHead(out.end(longestHead), Major::map, 0));
    else if (!Encoder(tree, out).write(directory))
        return std::nullopt;

    std::string_view const payload = out.content();
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
    Decoder(tree, result, payload).read(path);
}

} // namespace filesystem
