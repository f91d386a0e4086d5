// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <zlib.h>

#include "Tree.h"

/** A second implementation of the register file's format, which shares no code or library with the first. */
namespace fuzz::format {

enum Major : unsigned { number = 0, byteString = 2, textString = 3, array = 4, map = 5, tag = 6 };

constexpr std::string_view selfDescribed = "\xD9\xD9\xF7";

/** The start of an item, with its number in at least `width` bytes; 0 means as few as possible. */
inline std::string head(unsigned major, std::uint64_t value, unsigned width = 0) {
    unsigned const needed = value < 24         ? 0
                            : value <= 0xFF    ? 1
                            : value <= 0xFFFF  ? 2
                            : value >> 32 == 0 ? 4
                                               : 8;
    unsigned const used = needed > width ? needed : width;
    unsigned const extra = used == 0 ? static_cast<unsigned>(value)
                                     : (used == 1   ? 24
                                        : used == 2 ? 25
                                        : used == 4 ? 26
                                                    : 27);
    std::string bytes(1, static_cast<char>(major << 5 | extra));
    for (unsigned left = used; left-- > 0;)
        bytes += static_cast<char>(value >> (8 * left) & 0xFF);
    return bytes;
}

inline std::uint32_t checksum(std::string_view payload) {
    return static_cast<std::uint32_t>(
        ::crc32_z(0, reinterpret_cast<Bytef const*>(payload.data()), payload.size()));
}

/** A register file with a payload. */
inline std::string wrap(std::string_view payload) {
    return std::string(selfDescribed) + head(array, 3) + head(number, 1) + head(number, checksum(payload)) +
           head(tag, 24) + head(byteString, payload.size()) + std::string(payload);
}

inline std::string encode(Tree const& tree, std::size_t directory = Tree::root) {
    struct Level {
        Tree::Node const& node;
        std::map<std::string, std::size_t>::const_iterator next;
    };
    std::string payload;
    std::vector<Level> open;
    auto const enter = [&](std::size_t id) {
        payload += head(map, tree[id].children.size());
        open.push_back({tree[id], tree[id].children.begin()});
    };
    enter(directory);
    while (!open.empty()) {
        if (open.back().next == open.back().node.children.end()) {
            open.pop_back();
            continue;
        }
        auto const& [name, id] = *open.back().next++;
        payload += head(textString, name.size()) + name;
        if (tree[id].directory)
            enter(id);
        else
            payload += head(byteString, tree[id].content.size()) + tree[id].content;
    }
    return wrap(payload);
}

/** Whether some bytes are well-formed UTF-8. */
inline bool isUtf8(std::string_view bytes) {
    auto const at = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    for (std::size_t i = 0; i < bytes.size();) {
        unsigned const first = at(i++);
        unsigned const more = first < 0x80       ? 0
                              : first >> 5 == 6  ? 1
                              : first >> 4 == 14 ? 2
                              : first >> 3 == 30 ? 3
                                                 : 9;
        if (more > bytes.size() - i)
            return false;
        std::uint32_t point = more == 0 ? first : first & (0x3FU >> more);
        for (unsigned left = more; left > 0; --left, ++i) {
            if ((at(i) & 0xC0U) != 0x80)
                return false;
            point = point << 6 | (at(i) & 0x3FU);
        }
        std::uint32_t const least = more == 3 ? 0x10000 : more == 2 ? 0x800 : more == 1 ? 0x80 : 0;
        if (point < least || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF))
            return false;
    }
    return true;
}

inline bool isName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos &&
           isUtf8(name);
}

struct Decoded {
    Tree tree;
    std::size_t size;   ///< of the item, in bytes
    bool asItIsWritten; ///< all heads have minimal length, and names are in order
};

class Reader {
public:
    explicit Reader(std::string_view data) : _left(data) {}

    [[nodiscard]] std::size_t left() const { return _left.size(); }
    [[nodiscard]] bool onlyShortHeads() const { return _shortest; }

    struct Head {
        unsigned major;
        std::uint64_t value;
    };

    std::optional<Head> head() {
        if (_left.empty())
            return std::nullopt;
        unsigned const first = static_cast<unsigned char>(_left[0]);
        unsigned const extra = first & 31U;
        if (extra > 27)
            return std::nullopt;
        std::size_t const width = extra < 24 ? 0 : std::size_t{1} << (extra - 24);
        if (_left.size() <= width)
            return std::nullopt;
        std::uint64_t value = extra < 24 ? extra : 0;
        for (std::size_t i = 1; i <= width; ++i)
            value = value << 8 | static_cast<unsigned char>(_left[i]);
        _left.remove_prefix(width + 1);
        if (format::head(0, value).size() != width + 1)
            _shortest = false;
        return Head{first >> 5U, value};
    }

    std::optional<std::uint64_t> value(unsigned major) {
        auto const found = head();
        return found && found->major == major ? std::optional(found->value) : std::nullopt;
    }

    std::optional<std::string_view> take(std::uint64_t size) {
        if (size > _left.size())
            return std::nullopt;
        std::string_view const taken = _left.substr(0, size);
        _left.remove_prefix(taken.size());
        return taken;
    }

    std::optional<std::string_view> string(unsigned major) {
        auto const size = value(major);
        return size ? take(*size) : std::nullopt;
    }

private:
    std::string_view _left;
    bool _shortest = true;
};

/** The tree of a payload, if it is valid. */
inline std::optional<Decoded> decodePayload(std::string_view payload) {
    struct Level {
        std::size_t directory;
        std::uint64_t left;
        std::string last;
    };
    Decoded result{{}, payload.size(), true};
    Reader reader(payload);
    auto const count = reader.value(map);
    if (!count)
        return std::nullopt;
    std::vector<Level> open{{Tree::root, *count, {}}};
    while (!open.empty()) {
        if (open.back().left == 0) {
            open.pop_back();
            continue;
        }
        --open.back().left;
        std::size_t const directory = open.back().directory;
        auto const text = reader.string(textString);
        if (!text || !isName(*text) || result.tree.child(directory, std::string(*text)) != Tree::none)
            return std::nullopt;
        std::string const name(*text);
        if (name < open.back().last)
            result.asItIsWritten = false;
        open.back().last = name;
        auto const value = reader.head();
        if (!value || (value->major != map && value->major != byteString))
            return std::nullopt;
        std::size_t const id = result.tree.add(directory, name, value->major == map);
        if (value->major == map) {
            open.push_back({id, value->value, {}});
        } else {
            auto const content = reader.take(value->value);
            if (!content)
                return std::nullopt;
            result.tree[id].content = *content;
        }
    }
    result.asItIsWritten = result.asItIsWritten && reader.onlyShortHeads();
    return reader.left() == 0 ? std::optional(std::move(result)) : std::nullopt;
}

/** The tree of the register file at the start of `data`, if there is a valid one. */
inline std::optional<Decoded> decode(std::string_view data) {
    if (data.substr(0, selfDescribed.size()) != selfDescribed)
        return std::nullopt;
    Reader reader(data.substr(selfDescribed.size()));
    if (reader.value(array) != 3 || reader.value(number) != 1)
        return std::nullopt;
    auto const expected = reader.value(number);
    if (!expected || reader.value(tag) != 24)
        return std::nullopt;
    auto const payload = reader.string(byteString);
    if (!payload || checksum(*payload) != *expected)
        return std::nullopt;
    auto result = decodePayload(*payload);
    if (!result)
        return std::nullopt;
    result->size = data.size() - reader.left();
    result->asItIsWritten = result->asItIsWritten && reader.onlyShortHeads();
    return result;
}

} // namespace fuzz::format
