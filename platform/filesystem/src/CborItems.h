// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Node.h"
#include "TreePath.h"
#include "Words.h"
#include "utils/Exception.h"

namespace filesystem {

// The items of CBOR (RFC 8949) that a register file is made of. What is called for every entry of a file is inlined
// even where the compiler thinks it too large: calls would cost as much as the work.

/** CBOR's major types, as far as they occur here; each stands in the first three bits of a head. */
enum class Major : unsigned char { number = 0, bytes = 2, text = 3, array = 4, map = 5, tag = 6, other = 7 };

// A head's first byte holds a number below 24, or how long the number after it is: 24 to 27 for 1, 2, 4 and 8 bytes.
constexpr std::uint64_t shortNumbers = 24;
constexpr unsigned lastDefinite = 27;

constexpr std::size_t longestHead = 9;

/** Writes a head where there is room for the longest. Result: where it ends. */
[[gnu::always_inline]] inline char* writeHead(char* target, Major major, std::uint64_t number) {
    auto* const bytes = reinterpret_cast<unsigned char*>(target);
    if (number < shortNumbers) {
        *bytes = static_cast<unsigned char>(static_cast<unsigned>(major) << 5 | number);
        return target + 1;
    }
    unsigned const length = number <= 0xFF ? 0 : number <= 0xFFFF ? 1 : number <= 0xFFFFFFFF ? 2 : 3;
    *bytes = static_cast<unsigned char>(static_cast<unsigned>(major) << 5 | (shortNumbers + length));
    std::size_t const size = std::size_t{1} << length;
    for (std::size_t i = 0; i < size; ++i)
        bytes[size - i] = static_cast<unsigned char>(number >> (8 * i));
    return target + 1 + size;
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

enum class Kind { other, text, bytes, map };

/** One CBOR item's head, with the content of a string. */
struct Item {
    Kind kind;
    std::uint64_t number; ///< of elements, or of bytes
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

    [[gnu::always_inline]] Item next() {
        Item item{Kind::other, 0, {}};
        if (takeShortItem(item))
            return item;
        return nextLongItem();
    }

    /** A string's content need not be there. A head without a definite number is of no major type. */
    Head nextHead() {
        if (_left.empty())
            refuseAsTruncated();
        auto const first = static_cast<unsigned char>(_left.front());
        unsigned const low = first & 0x1FU;
        if (low > lastDefinite)
            return {Major::other, 0};
        std::size_t const size = low < shortNumbers ? 0 : std::size_t{1} << (low - shortNumbers);
        if (size >= _left.size())
            refuseAsTruncated();
        std::uint64_t number = size == 0 ? low : 0;
        for (std::size_t i = 1; i <= size; ++i)
            number = number << 8 | static_cast<unsigned char>(_left[i]);
        _left.remove_prefix(1 + size);
        return {static_cast<Major>(first >> 5), number};
    }

private:
    /** Takes what nearly all items are: a string or a map whose head is one byte. */
    [[gnu::always_inline]] bool takeShortItem(Item& item) {
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

    /** Any item; its content is left out unless it is a string. */
    Item nextLongItem() {
        Head const head = nextHead();
        if (head.major == Major::map)
            return {Kind::map, head.number, {}};
        if (head.major != Major::text && head.major != Major::bytes)
            return {Kind::other, 0, {}};
        if (head.number > _left.size())
            refuseAsTruncated();
        std::string_view const content = _left.substr(0, head.number);
        _left.remove_prefix(content.size());
        return {head.major == Major::text ? Kind::text : Kind::bytes, head.number, content};
    }

    std::string_view _left;
};

/** An entry of a directory in a register file. */
struct NamedItem {
    std::string_view name;
    Item value; ///< a map, or bytes
};

/** Errors: `utils::Exception` for what cannot be an entry. */
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
    return {name, value};
}

} // namespace filesystem
