// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

/** The value record, implemented independently of the register. */
namespace record {

/** The fields of a record in order; each is written with one file-system call. */
using Fields = std::vector<std::string>;

inline std::string joined(Fields const& fields, std::size_t count) {
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i)
        bytes += fields[i];
    return bytes;
}

inline std::string int32(int value) {
    auto const bits = static_cast<std::uint32_t>(value);
    std::string bytes;
    for (unsigned shift = 0; shift < 32; shift += 8)
        bytes += static_cast<char>(static_cast<unsigned char>((bits >> shift) & 0xFFU));
    return bytes;
}

inline void append(Fields& fields, std::string const& value) {
    fields.push_back(int32(static_cast<int>(value.size())));
    fields.push_back(value);
}

inline void append(Fields& fields, double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    for (unsigned shift = 0; shift < 64; shift += 8)
        fields.emplace_back(1, static_cast<char>(static_cast<unsigned char>((bits >> shift) & 0xFFU)));
}

inline void append(Fields& fields, int value) {
    fields.push_back(int32(value));
}

inline void append(Fields& fields, bool value) {
    fields.emplace_back(1, value ? '\1' : '\0');
}

template <class Element>
void append(Fields& fields, std::vector<Element> const& values) {
    fields.push_back(int32(static_cast<int>(values.size())));
    for (auto&& element : values)
        append(fields, static_cast<Element const&>(element));
}

/** Reads bytes from the front; missing bytes read as zero or as an empty string. */
class Cursor {
public:
    explicit Cursor(std::string bytes) : _bytes(std::move(bytes)) {}

    unsigned char byte() {
        std::string const taken = take(1);
        return taken.empty() ? '\0' : static_cast<unsigned char>(taken[0]);
    }

    int int32() {
        std::string const taken = take(4);
        if (taken.size() < 4)
            return 0;
        std::uint32_t bits = 0;
        for (unsigned i = 0; i < 4; ++i)
            bits |= std::uint32_t{static_cast<unsigned char>(taken[i])} << (8 * i);
        return static_cast<int>(bits);
    }

    std::string text(int count) { return count < 0 ? std::string() : take(static_cast<std::size_t>(count)); }

private:
    std::string take(std::size_t count) {
        std::string taken = _bytes.substr(0, count);
        _bytes.erase(0, count);
        return taken;
    }

    std::string _bytes;
};

inline void decode(Cursor& cursor, std::string& value) {
    int const length = cursor.int32();
    value = cursor.text(length);
}

inline void decode(Cursor& cursor, double& value) {
    std::uint64_t bits = 0;
    for (unsigned shift = 0; shift < 64; shift += 8)
        bits |= std::uint64_t{cursor.byte()} << shift;
    std::memcpy(&value, &bits, sizeof value);
}

inline void decode(Cursor& cursor, int& value) {
    value = cursor.int32();
}

inline void decode(Cursor& cursor, bool& value) {
    value = cursor.byte() != 0;
}

template <class Element>
void decode(Cursor& cursor, std::vector<Element>& values) {
    int const count = cursor.int32();
    values.clear();
    for (int i = 0; i < count; ++i) {
        Element element{};
        decode(cursor, element);
        values.push_back(element);
    }
}

} // namespace record
