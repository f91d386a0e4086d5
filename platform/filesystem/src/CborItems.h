// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <cbor.h>

#include "Words.h"
#include "utils/Exception.h"

namespace filesystem {

// The items of CBOR (RFC 8949) that a register file is made of.

/** CBOR's major types, as far as they occur here; each stands in the first three bits of a head. */
enum class Major : unsigned char { number = 0, bytes = 2, text = 3, array = 4, map = 5, tag = 6 };

constexpr std::uint64_t shortNumbers = 24; // those below stand in a head's first byte

constexpr std::size_t longestHead = 9;

/** Writes a head where there is room for the longest. Result: where it ends. */
inline char* writeHead(char* target, Major major, std::uint64_t number) {
    auto* const bytes = reinterpret_cast<unsigned char*>(target);
    if (number < shortNumbers) {
        *bytes = static_cast<unsigned char>(static_cast<unsigned>(major) << 5 | number);
        return target + 1;
    }
    std::size_t const length = cbor_encode_uint(number, bytes, longestHead);
    *bytes = static_cast<unsigned char>(*bytes | static_cast<unsigned>(major) << 5);
    return target + length;
}

inline char* writeText(char* target, std::string_view text) {
    copyBytes(target, text.data(), text.size());
    return target + text.size();
}

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
        if (takeShortItem(item))
            return item;
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

} // namespace filesystem
