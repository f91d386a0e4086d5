// SPDX-License-Identifier: Apache-2.0
#include "IndexedTree.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "CborItems.h"
#include "Number.h"
#include "TreeFormat.h"

namespace filesystem {

namespace {

using Entry = IndexedTree::Entry;

std::uint32_t narrow(std::uint64_t number) {
    return static_cast<std::uint32_t>(number);
}

constexpr std::size_t compared = 1024; // block size of comparisons, in bytes

std::size_t commonPrefix(std::string_view left, std::string_view right) {
    std::size_t const most = std::min(left.size(), right.size());
    std::size_t size = 0;
    while (most - size >= compared && std::memcmp(left.data() + size, right.data() + size, compared) == 0)
        size += compared;
    auto const begin = left.begin() + size;
    auto const end = left.begin() + std::min(most, size + compared);
    return size + static_cast<std::size_t>(std::mismatch(begin, end, right.begin() + size).first - begin);
}

std::size_t commonSuffix(std::string_view left, std::string_view right) {
    std::size_t const most = std::min(left.size(), right.size());
    std::size_t size = compared;
    while (size <= most && std::memcmp(left.end() - size, right.end() - size, compared) == 0)
        size += compared;
    size -= compared;
    auto const begin = left.rbegin() + static_cast<std::ptrdiff_t>(size);
    auto const end = left.rbegin() + static_cast<std::ptrdiff_t>(std::min(most, size + compared));
    auto const other = right.rbegin() + static_cast<std::ptrdiff_t>(size);
    return size + static_cast<std::size_t>(std::mismatch(begin, end, other).first - begin);
}

/**
 * The bytes that a payload has in common with the payload of another tree. For these, the other's index and checksums
 * are reused.
 */
struct Likeness {
    Likeness(std::string_view payload, IndexedTree const* similar) {
        // An index can be reused only if its entries are in the same order as in the payload.
        if (similar == nullptr || !similar->isInOrder)
            return;
        other = similar;
        prefix = commonPrefix(payload, other->payload);
        suffix = commonSuffix(payload.substr(prefix), other->payload.substr(prefix));
    }

    IndexedTree const* other = nullptr; ///< null if there is no tree to reuse
    std::size_t prefix = 0;             ///< the size of the common prefix
    std::size_t suffix = 0;             ///< the size of the common suffix, without the common prefix
};

/** Indexes a payload without recursion, with a stack of the directories whose entries are not all parsed. */
class Parser {
public:
    Parser(IndexedTree& tree, Likeness const& likeness)
        : _tree(tree), _other(likeness.other), _prefix(narrow(likeness.prefix)),
          _suffix(narrow(tree.payload.size() - likeness.suffix)), _scanner(tree.payload) {
        if (_other != nullptr)
            _shift = narrow(tree.payload.size()) - narrow(_other->payload.size());
    }

    void parse() {
        // An entry has at least two bytes.
        if (_other != nullptr)
            _tree.entries.reserve(
                std::min(_other->entries.size() + spareEntries, _tree.payload.size() / 2 + 1));
        _tree.entries.assign(1, Entry{});
        Item const top = _scanner.next();
        if (top.kind != Kind::map)
            refuseAsDamaged("its payload is not a directory");
        if (_other != nullptr)
            enter(0, top.number, &_other->root(), narrow(_other->entries.size()));
        else
            enter(0, top.number, nullptr, 0);
        while (!_open.empty()) {
            if (_open.back().next == _open.back().end)
                leave();
            else
                takeNext();
        }
        if (_scanner.left() != 0)
            refuseAsDamaged("its payload has bytes after the tree");
    }

private:
    static constexpr std::size_t spareEntries = 64;

    struct Directory {
        std::uint32_t entry;
        std::uint32_t next;
        std::uint32_t end;
        bool isOrdered;
        // The counterpart is the same directory in the other tree, if it exists there.
        Entry const* other;       ///< the next child of the counterpart
        Entry const* othersEnd;   ///< the end of its children
        std::uint32_t othersLast; ///< the index after the last entry below it
        Entry const* lastCopied;  ///< the previous child, if it was copied; otherwise null
    };

    [[nodiscard]] std::uint32_t position() const { return narrow(_tree.payload.size() - _scanner.left()); }

    /** `like` is the counterpart, or null; `last` is its `othersLast`. */
    void enter(std::uint32_t entry, std::uint64_t children, Entry const* like, std::uint32_t last) {
        // An entry has at least two bytes, so the rest of the payload limits the entries of all open directories
        // together.
        if (children > _scanner.left() / 2 || _promised > _scanner.left() / 2 - children)
            refuseAsTruncated();
        _promised += children;
        auto& entries = _tree.entries;
        auto const first = narrow(entries.size());
        auto const count = narrow(children);
        entries[entry].first = first;
        entries[entry].count = count;
        entries.resize(entries.size() + count);
        Entry const* others = nullptr;
        Entry const* othersEnd = nullptr;
        if (like != nullptr) {
            others = _other->entries.data() + like->first;
            othersEnd = others + like->count;
        }
        _open.push_back({entry, first, first + count, true, others, othersEnd, last, nullptr});
    }

    void leave() {
        Directory const directory = _open.back();
        _open.pop_back();
        _tree.entries[directory.entry].end = position();
        if (!directory.isOrdered)
            sort(_tree.entries[directory.entry]);
    }

    void takeNext() {
        Directory& directory = _open.back();
        std::uint32_t const entry = directory.next++;
        --_promised;
        std::uint32_t const begin = position();
        Entry const* const like = counterpart(directory, begin);
        if (like != nullptr && (begin >= _suffix || like->end <= _prefix))
            copy(directory, entry, *like);
        else
            parseEntry(directory, entry, like);
    }

    /** The child in the other tree that begins at the position that corresponds to `begin`; null if there is none. */
    Entry const* counterpart(Directory& directory, std::uint32_t begin) const {
        if (begin >= _prefix && begin < _suffix)
            return nullptr;
        std::uint32_t const there = begin < _prefix ? begin : begin - _shift;
        while (directory.other != directory.othersEnd && directory.other->item < there)
            ++directory.other;
        return directory.other != directory.othersEnd && directory.other->item == there ? directory.other
                                                                                        : nullptr;
    }

    /** Copies the index entries of an entry and of everything below it, whose bytes are the same in both trees. */
    void copy(Directory& directory, std::uint32_t entry, Entry const& like) {
        std::uint32_t const shift = position() - like.item;
        auto& entries = _tree.entries;
        entries[entry] = {like.item + shift, like.end + shift, 0, like.count};
        if (like.isDirectory())
            entries[entry].first = copyBelow(like.first, lastBelow(directory, like), shift);
        if (directory.lastCopied == nullptr || directory.lastCopied + 1 != &like)
            noteOrder(directory, entry, _tree.nameOf(entries[entry]));
        directory.lastCopied = &like;
        _scanner.skip(like.end - like.item);
    }

    /** The index after the last entry below a directory in the other tree. */
    static std::uint32_t lastBelow(Directory const& directory, Entry const& like) {
        auto const* const next = std::find_if(&like + 1, directory.othersEnd,
                                              [](Entry const& entry) { return entry.isDirectory(); });
        return next != directory.othersEnd ? next->first : directory.othersLast;
    }

    /** Copies entries of the other tree. Result: the new index of the first of them. */
    std::uint32_t copyBelow(std::uint32_t first, std::uint32_t last, std::uint32_t shift) {
        auto& entries = _tree.entries;
        auto const copied = narrow(entries.size());
        std::uint32_t const move = copied - first;
        Entry const* const others = _other->entries.data();
        entries.insert(entries.end(), others + first, others + last);
        if (shift != 0 || move != 0) {
            Entry const* const end = entries.data() + entries.size();
            for (Entry* entry = entries.data() + copied; entry != end; ++entry) {
                entry->item += shift;
                entry->end += shift;
                entry->first += entry->isDirectory() ? move : 0;
            }
        }
        return copied;
    }

    void parseEntry(Directory& directory, std::uint32_t entry, Entry const* like) {
        std::uint32_t const begin = position();
        NamedItem const item = takeEntry(_scanner);
        _tree.entries[entry].item = begin;
        directory.lastCopied = nullptr;
        noteOrder(directory, entry, item.name);
        if (item.isDirectory) {
            bool const isLike = like != nullptr && like->isDirectory();
            enter(entry, item.count, isLike ? like : nullptr, isLike ? lastBelow(directory, *like) : 0);
            return;
        }
        _tree.entries[entry].end = position();
    }

    void noteOrder(Directory& directory, std::uint32_t entry, std::string_view name) const {
        auto const& entries = _tree.entries;
        if (entry != entries[directory.entry].first && _tree.nameOf(entries[entry - 1]) >= name)
            directory.isOrdered = false;
    }

    void sort(Entry const& directory) {
        _tree.isInOrder = false;
        Entry* const begin = _tree.entries.data() + directory.first;
        Entry* const end = begin + directory.count;
        auto const name = [this](Entry const& entry) { return _tree.nameOf(entry); };
        std::sort(begin, end,
                  [&](Entry const& left, Entry const& right) { return name(left) < name(right); });
        auto const twice = std::adjacent_find(
            begin, end, [&](Entry const& left, Entry const& right) { return name(left) == name(right); });
        if (twice != end)
            refuseAsDamaged("duplicate name: " + quoted(name(*twice)));
    }

    IndexedTree& _tree;
    IndexedTree const* _other;
    std::uint32_t _prefix;    ///< the offset where the common prefix ends
    std::uint32_t _suffix;    ///< the offset where the common suffix begins
    std::uint32_t _shift = 0; ///< the offset of the suffix minus that in the other payload, modulo 2^32
    Scanner _scanner;
    std::vector<Directory> _open;
    std::uint64_t _promised = 0; ///< entries of the open directories that have not been parsed
};

Entry const* child(IndexedTree const& tree, Entry const& directory, std::string_view name) {
    Entry const* const begin = tree.entries.data() + directory.first;
    Entry const* const end = begin + directory.count;
    Entry const* const found =
        std::lower_bound(begin, end, name, [&tree](Entry const& entry, std::string_view wanted) {
            return tree.nameOf(entry) < wanted;
        });
    return found != end && tree.nameOf(*found) == name ? found : nullptr;
}

/** Compares the payload with that of `similar`, and computes its checksums. */
Likeness prepare(IndexedTree& tree, IndexedTree const* similar) {
    if (tree.payload.size() > std::numeric_limits<std::uint32_t>::max())
        throw utils::Exception("larger than 4 GiB");
    Likeness const likeness(tree.payload, similar);
    tree.checksums =
        PieceChecksums(tree.payload, likeness.other != nullptr ? likeness.other->checksums : PieceChecksums(),
                       likeness.prefix, likeness.suffix);
    return likeness;
}

} // namespace

std::shared_ptr<IndexedTree const> IndexedTree::ofFile(std::shared_ptr<void const> owner,
                                                       std::string_view bytes, IndexedTree const* similar) {
    TreeHead const head = decodeTreeHead(bytes.substr(0, longestTreeHead));
    auto tree = std::make_shared<IndexedTree>();
    tree->owner = std::move(owner);
    tree->payload = bytes.substr(
        head.size, numberAs<std::size_t>(std::min<std::uint64_t>(head.payloadSize, bytes.size())));
    tree->bytes = bytes.substr(0, head.size + tree->payload.size());
    Likeness const likeness = prepare(*tree, similar);
    checkPayload(head, tree->payload.size(), tree->checksums.whole());
    Parser(*tree, likeness).parse();
    return tree;
}

std::shared_ptr<IndexedTree const> IndexedTree::ofPayload(std::shared_ptr<void const> owner, char* payload,
                                                          std::size_t size, IndexedTree const& similar) {
    auto tree = std::make_shared<IndexedTree>();
    tree->owner = std::move(owner);
    tree->payload = {payload, size};
    Likeness const likeness = prepare(*tree, &similar);
    char head[longestTreeHead];
    auto const headSize = static_cast<std::size_t>(writeTreeHead(head, tree->checksums.whole(), size) - head);
    std::memcpy(payload - headSize, head, headSize);
    tree->bytes = {payload - headSize, headSize + size};
    Parser(*tree, likeness).parse();
    return tree;
}

Entry const* IndexedTree::find(std::string_view path) const {
    Entry const* entry = &root();
    while (!path.empty() && entry != nullptr) {
        std::string_view const name = path.substr(0, path.find('/'));
        path.remove_prefix(std::min(path.size(), name.size() + 1));
        entry = entry->isDirectory() ? child(*this, *entry, name) : nullptr;
    }
    return entry;
}

} // namespace filesystem
