// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace utils::properties {

// A record's bytes in memory. Integers stand in the file system's order, least significant byte first, and
// what is missing reads as the file system's readers give it.

/** Counts the bytes that a record takes. */
class RecordSize {
public:
    void writeByte(char) { ++_bytes; }
    void writeInt(int) { _bytes += 4; }
    void writeBytes(std::string const& bytes) { _bytes += bytes.size(); }

    [[nodiscard]] std::size_t bytes() const { return _bytes; }

private:
    std::size_t _bytes = 0;
};

/** Writes a record to memory that has room for it. */
class RecordWriter {
public:
    explicit RecordWriter(char* target) : _next(target) {}

    void writeByte(char value) { *_next++ = value; }
    void writeInt(int value) {
        auto const bits = static_cast<unsigned>(value);
        for (unsigned shift = 0; shift < 32; shift += 8)
            writeByte(static_cast<char>((bits >> shift) & 0xFFU));
    }
    void writeBytes(std::string const& bytes) { _next = std::copy(bytes.begin(), bytes.end(), _next); }

private:
    char* _next;
};

/** Reads a record from memory. */
class RecordReader {
public:
    explicit RecordReader(std::string_view record) : _left(record) {}

    char readByte() {
        if (_left.empty())
            return 0;
        char const byte = _left.front();
        _left.remove_prefix(1);
        return byte;
    }
    int readInt() {
        if (_left.size() < 4) {
            _left = {};
            return 0;
        }
        unsigned bits = 0;
        for (unsigned i = 0; i < 4; ++i)
            bits |= unsigned{static_cast<unsigned char>(_left[i])} << (8 * i);
        _left.remove_prefix(4);
        return static_cast<int>(bits);
    }
    std::string_view readBytes(int count) {
        std::string_view const bytes = _left.substr(0, static_cast<std::size_t>(std::max(count, 0)));
        _left.remove_prefix(bytes.size());
        return bytes;
    }

private:
    std::string_view _left;
};

} // namespace utils::properties
