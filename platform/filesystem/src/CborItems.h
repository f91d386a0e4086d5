// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include <cbor.h>

#include "Node.h"
#include "Number.h"
#include "TreePath.h"
#include "Words.h"
#include "utils/Exception.h"

namespace filesystem {

// The CBOR items (RFC 8949) of a register file. Functions that run for every entry of a file are always inlined: a call
// would cost as much as their work.

/** CBOR's major types, stored in the highest three bits of a head. `other` is not used in register files. */
enum class Major : unsigned char { number = 0, bytes = 2, text = 3, array = 4, map = 5, tag = 6, other = 7 };

constexpr std::uint64_t shortNumbers = 24; // numbers below this are stored in the first byte of a head
constexpr unsigned lastDefinite = 27;      // the first byte of a head with a number of 8 bytes

constexpr std::size_t longestHead = 9;

/** Writes a head; there must be room for `longestHead` bytes. Result: its end. */
[[gnu::always_inline]] inline char* writeHead(char* target, Major major, std::uint64_t number) {
    auto* const bytes = reinterpret_cast<unsigned char*>(target);
    if (number < shortNumbers) {
        *bytes = static_cast<unsigned char>(static_cast<unsigned>(major) << 5 | number);
        return target + 1;
    }
    std::size_t const length = cbor_encode_uint(number, bytes, longestHead);
    *bytes = static_cast<unsigned char>(*bytes | static_cast<unsigned>(major) << 5);
    return target + length;
}

[[gnu::always_inline]] inline char* writeText(char* target, std::string_view text) {
    copyBytes(target, text.data(), text.size());
    return target + text.size();
}

[[noreturn]] inline void refuseAsDamaged(std::string const& damage) {
    throw utils::Exception("damaged: " + damage);
}

[[noreturn]] inline void refuseAsTruncated() {
    refuseAsDamaged("truncated");
}

inline std::string quoted(std::string_view name) {
    return '"' + std::string(name) + '"';
}

enum class Kind { other, number, text, bytes, map };

/** The head of a CBOR item, and the content if it is a string. */
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

/** Reads items from a sequence of bytes. */
class Scanner {
public:
    explicit Scanner(std::string_view data) : _left(data) {}

    [[nodiscard]] std::size_t left() const { return _left.size(); }

    /** Skips `count` bytes, which must exist. */
    void skip(std::size_t count) { _left.remove_prefix(count); }

    [[gnu::always_inline]] Item next() {
        Kind kind = Kind::other;
        std::uint64_t number = 0;
        char const* string = nullptr;
        take(kind, number, string);
        return {kind, number, {string, string != nullptr ? numberAs<std::size_t>(number) : 0}};
    }

    /**
     * Reads a head only, even if the content of a string is missing. For a head without a definite number, the major
     * type is `other`.
     */
    Head nextHead() {
        if (_left.empty())
            refuseAsTruncated();
        unsigned const first = static_cast<unsigned char>(_left[0]);
        if ((first & 0x1FU) > lastDefinite)
            return {Major::other, 0};
        // All heads have the same layout, so with its major type set to 0 this one decodes as a number.
        char asNumber[longestHead];
        std::size_t const size = _left.copy(asNumber, longestHead);
        asNumber[0] = static_cast<char>(first & 0x1FU);
        Item item{Kind::other, 0, {}};
        _left.remove_prefix(decode({asNumber, size}, item));
        return {static_cast<Major>(first >> 5), item.number};
    }

private:
    /**
     * Has a fast path for nearly all items: a string or a map with a head of one byte. `string` is null for other items.
     * Without structures, so that the compiler keeps everything in registers.
     */
    [[gnu::always_inline]] void take(Kind& kind, std::uint64_t& number, char const*& string) {
        if (!_left.empty()) {
            auto const head = static_cast<unsigned char>(_left.front());
            auto const major = static_cast<Major>(head >> 5);
            number = head & 0x1FU;
            if (number < shortNumbers && major == Major::map) {
                kind = Kind::map;
                _left.remove_prefix(1);
                return;
            }
            if (number < shortNumbers && number < _left.size() &&
                (major == Major::text || major == Major::bytes)) {
                kind = major == Major::text ? Kind::text : Kind::bytes;
                string = _left.data() + 1;
                _left.remove_prefix(1 + numberAs<std::size_t>(number));
                return;
            }
        }
        takeOther();
        kind = _other.kind;
        number = _other.number;
        string = _other.content.data();
    }

    [[gnu::noinline]] void takeOther() {
        _other = {Kind::other, 0, {}};
        _left.remove_prefix(decode(_left, _other));
    }

    /** Result: the size of the item in bytes. */
    static std::size_t decode(std::string_view data, Item& item) {
        if constexpr (sizeof(std::size_t) < sizeof(std::uint64_t)) {
            if (takeHugeItem(data, item))
                return longestHead;
        }
        cbor_decoder_result const result =
            cbor_stream_decode(reinterpret_cast<cbor_data>(data.data()), data.size(), &callbacks(), &item);
        if (result.status == CBOR_DECODER_NEDATA)
            refuseAsTruncated();
        if (result.status == CBOR_DECODER_ERROR)
            refuseAsDamaged("not CBOR");
        return result.read;
    }

    /**
     * Takes an item whose length does not fit into a `std::size_t`, because libcbor 0.8 truncates such lengths. False
     * for other items.
     */
    static bool takeHugeItem(std::string_view data, Item& item) {
        if (data.size() < longestHead)
            return false;
        unsigned const first = static_cast<unsigned char>(data[0]);
        std::uint64_t const number = __builtin_bswap64(loadWord(data.data() + 1));
        if ((first & 0x1FU) != lastDefinite || number <= std::numeric_limits<std::size_t>::max())
            return false;
        auto const major = static_cast<Major>(first >> 5);
        if (major == Major::text || major == Major::bytes)
            refuseAsTruncated();
        if (major != Major::map)
            return false;
        item = {Kind::map, number, {}};
        return true;
    }

    template <Kind Is, class Number>
    static void takeNumber(void* item, Number number) {
        *static_cast<Item*>(item) = {Is, number, {}};
    }

    /** The type of the size depends on the version of libcbor. */
    template <Kind Is, class Size>
    static void takeString(void* item, cbor_data data, Size size) {
        *static_cast<Item*>(item) = {
            Is, size, {reinterpret_cast<char const*>(data), static_cast<std::size_t>(size)}};
    }

    /** Items without a callback, including those of indefinite length, keep the kind `other`. */
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
    /** The last item of `takeOther`. It is a member, so that the items on the fast path need not be in memory. */
    Item _other{Kind::other, 0, {}};
};

/** A directory entry in a register file. */
struct NamedItem {
    std::string_view name;
    bool isDirectory;
    std::uint64_t count;      ///< the number of entries of a directory
    std::string_view content; ///< of a file
};

/** Errors: `utils::Exception` if the next items are not an entry. */
[[gnu::always_inline]] inline NamedItem takeEntry(Scanner& scanner) {
    Item const key = scanner.next();
    std::string_view const name = key.content;
    if (key.kind != Kind::text)
        refuseAsDamaged("a name is not text");
    if (!isName(name))
        refuseAsDamaged("invalid name: " + quoted(name));
    Item const value = scanner.next();
    if (value.kind != Kind::map && value.kind != Kind::bytes)
        refuseAsDamaged("neither a directory nor a file: " + quoted(name));
    if (!Node::fits(name.size(), value.content.size()))
        refuseAsDamaged("too large: " + quoted(name));
    return {name, value.kind == Kind::map, value.number, value.content};
}

} // namespace filesystem
