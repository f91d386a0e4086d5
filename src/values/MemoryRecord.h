// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "values/PackedBooleans.h"

namespace utils::properties {

// Records in memory. Integers have the file system's byte order, little-endian. Reading after the end gives the same
// values as the file system's readers.

/** Counts the bytes of a record. */
class RecordSize {
public:
    void writeByte(char) { ++_bytes; }
    void writeInt(int) { _bytes += 4; }
    void writeBytes(std::string const& bytes) { _bytes += bytes.size(); }

    template <class Field, class Element>
    std::ptrdiff_t writeAhead(std::vector<Element> const& values) {
        _bytes += values.size() * Field::size;
        return Field::size == 0 ? 0 : static_cast<std::ptrdiff_t>(values.size());
    }

    [[nodiscard]] std::size_t bytes() const { return _bytes; }

private:
    std::size_t _bytes = 0;
};

/** Writes a record to memory, which must have room for it. */
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

    template <class Field, class Element>
    std::ptrdiff_t writeAhead(std::vector<Element> const& values) {
        if constexpr (Field::isMemoryImage) {
            if (!values.empty())
                std::memcpy(_next, values.data(), values.size() * Field::size);
            _next += values.size() * Field::size;
            return static_cast<std::ptrdiff_t>(values.size());
        } else if constexpr (std::is_same_v<Element, bool>) {
            _next = writeBooleans(values, _next);
            return static_cast<std::ptrdiff_t>(values.size());
        } else {
            return 0;
        }
    }

private:
    char* _next;
};

/** Reads fields without checking for the end of the record. */
class FieldReader {
public:
    explicit FieldReader(char const* next) : _next(next) {}

    char readByte() { return *_next++; }
    int readInt() {
        auto const byte = [this](std::size_t i) { return unsigned{static_cast<unsigned char>(_next[i])}; };
        unsigned const bits = byte(0) | byte(1) << 8 | byte(2) << 16 | byte(3) << 24; // one load
        _next += sizeof bits;
        return static_cast<int>(bits);
    }

private:
    char const* _next;
};

/** Reads a record from memory, never past its end. */
class RecordReader {
public:
    explicit RecordReader(std::string_view record) : _left(record) {}

    char readByte() {
        return take(1, [](FieldReader field) { return field.readByte(); });
    }
    int readInt() {
        return take(4, [](FieldReader field) { return field.readInt(); });
    }
    std::string_view readBytes(int count) {
        std::string_view const bytes = _left.substr(0, static_cast<std::size_t>(std::max(count, 0)));
        _left.remove_prefix(bytes.size());
        return bytes;
    }

    /**
     * Replaces the list with the first elements of the record, at most `count`. Result: their number.
     * Elements of a fixed size: all that are complete. Others: at most as many as the list has, to reuse their memory.
     */
    template <class Field, class Element>
    int readAhead(int count, std::vector<Element>& list) {
        if constexpr (Field::size == 0) {
            return replaceFirst<Field>(list, count);
        } else {
            std::size_t const whole =
                std::min(static_cast<std::size_t>(std::max(count, 0)), _left.size() / Field::size);
            replaceOneByOne<Field>(list, whole, _left.data());
            _left.remove_prefix(whole * Field::size);
            return static_cast<int>(whole);
        }
    }

private:
    template <class Read>
    auto take(std::size_t size, Read read) -> decltype(read(FieldReader(nullptr))) {
        if (_left.size() < size) {
            _left = {};
            return 0;
        }
        char const* const field = _left.data();
        _left.remove_prefix(size);
        return read(FieldReader(field));
    }

    template <class Field, class Element>
    int replaceFirst(std::vector<Element>& list, int count) {
        int done = 0;
        auto const drop = [&] { list.erase(list.begin() + done, list.end()); };
        try {
            for (int const held = static_cast<int>(list.size()); done < std::min(count, held); ++done)
                Field::read(*this, list[static_cast<std::size_t>(done)]);
        } catch (...) {
            drop();
            throw;
        }
        drop();
        return done;
    }

    /** Gives the same elements and capacity as appending one by one, but copies all that fit at once. */
    template <class Field, class Element>
    static void replaceOneByOne(std::vector<Element>& list, std::size_t count, char const* from) {
        std::size_t done = 0;
        while (true) {
            std::size_t const fitting = std::min(count, list.capacity());
            list.resize(fitting);
            copy<Field>(list, done, from + done * Field::size);
            if (fitting == count)
                return;
            FieldReader next(from + fitting * Field::size);
            Field::append(next, list);
            done = fitting + 1;
        }
    }

    /** Reads the elements from index `begin` to the end of the list. */
    template <class Field, class Element>
    static void copy(std::vector<Element>& list, std::size_t begin, char const* from) {
        if (begin == list.size())
            return;
        if constexpr (Field::isMemoryImage) {
            std::memcpy(list.data() + begin, from, (list.size() - begin) * Field::size);
        } else if constexpr (std::is_same_v<Element, bool>) {
            readBooleans(list, begin, from);
        } else {
            FieldReader next(from);
            for (std::size_t i = begin; i < list.size(); ++i)
                Field::read(next, list[i]);
        }
    }

    std::string_view _left;
};

} // namespace utils::properties
