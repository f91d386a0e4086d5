// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "utils/properties/Register.h"

/**
 * The format of value records.
 *
 * A record is a tag byte and a payload; a list has a second tag, that of its elements, and a count. Integers, counts
 * and lengths are written as the file system's 32-bit `int`.
 *
 *     string   'S' length bytes
 *     number   'N' the 8 bytes of the binary64 pattern, least significant first
 *     integer  'I' int
 *     boolean  'B' 1 or 0
 *     list     'L' element tag, count, then each element without its tag
 *
 * Records are written to any sink with `writeByte`, `writeInt` and `writeBytes`, and read from any source with
 * `readByte`, `readInt` and `readBytes`, one call per field, and one per byte of a number. Only the tags are checked:
 * fields that are missing at the end of a record have the value that the source gives them, and bytes after a record
 * are never read.
 *
 * Lists have a fast path: `readAhead` clears the list, or replaces it with the first elements of the record, and
 * returns their number. The remaining elements are read one by one. Likewise, `writeAhead` may write the first
 * elements, and returns their number.
 */
namespace utils::properties {

constexpr bool littleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

/**
 * The layout of a value in a record, without its tag: `size` in bytes, 0 if it varies, and whether those
 * bytes are also this machine's representation of the value, so that many can be copied at once.
 */
template <class Value>
struct Field;

template <>
struct Field<std::string> {
    static constexpr Type tag = TYPE_STRING;
    static constexpr std::size_t size = 0;
    static constexpr bool isMemoryImage = false;

    template <class Sink>
    static void write(Sink& sink, std::string const& value) {
        sink.writeInt(static_cast<int>(value.size()));
        sink.writeBytes(value);
    }
    template <class Source>
    static void read(Source& source, std::string& value) {
        value = source.readBytes(source.readInt());
    }
    template <class Source>
    static void append(Source& source, std::vector<std::string>& values) {
        values.emplace_back(source.readBytes(source.readInt()));
    }
};

/** Numbers are passed by reference, because i386's floating-point registers change a signalling NaN. */
template <>
struct Field<double> {
    static constexpr Type tag = TYPE_NUMBER;
    static constexpr std::size_t size = 8;
    static constexpr bool isMemoryImage = littleEndian;
    static_assert(std::numeric_limits<double>::is_iec559 && sizeof(double) == sizeof(std::uint64_t));

    template <class Sink>
    static void write(Sink& sink, double const& value) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        for (unsigned shift = 0; shift < 64; shift += 8)
            sink.writeByte(static_cast<char>((bits >> shift) & 0xFFU));
    }
    template <class Source>
    static void read(Source& source, double& value) {
        std::uint64_t const bits = readBits(source);
        std::memcpy(&value, &bits, sizeof value);
    }
    template <class Source>
    static void append(Source& source, std::vector<double>& values) {
        std::uint64_t const bits = readBits(source);
        std::memcpy(&values.emplace_back(), &bits, sizeof bits);
    }

private:
    template <class Source>
    static std::uint64_t readBits(Source& source) {
        std::uint64_t bits = 0;
        for (unsigned shift = 0; shift < 64; shift += 8)
            bits |= std::uint64_t{static_cast<unsigned char>(source.readByte())} << shift;
        return bits;
    }
};

template <>
struct Field<int> {
    static constexpr Type tag = TYPE_INTEGER;
    static constexpr std::size_t size = 4;
    static constexpr bool isMemoryImage = littleEndian;

    template <class Sink>
    static void write(Sink& sink, int value) {
        sink.writeInt(value);
    }
    template <class Source>
    static void read(Source& source, int& value) {
        value = source.readInt();
    }
    template <class Source>
    static void append(Source& source, std::vector<int>& values) {
        values.push_back(source.readInt());
    }
};

template <>
struct Field<bool> {
    static constexpr Type tag = TYPE_BOOLEAN;
    static constexpr std::size_t size = 1;
    static constexpr bool isMemoryImage = false; // a std::vector<bool> holds bits

    template <class Sink>
    static void write(Sink& sink, bool value) {
        sink.writeByte(value ? 1 : 0);
    }
    /** `value` is a `bool` or an element of a list. */
    template <class Source, class Value>
    static void read(Source& source, Value&& value) {
        value = source.readByte() != 0;
    }
    template <class Source>
    static void append(Source& source, std::vector<bool>& values) {
        values.push_back(source.readByte() != 0);
    }
};

/** Tag bytes are signed on every machine: a byte above 127 gives a negative value. */
template <class Source>
Type readTag(Source& source) {
    return static_cast<Type>(static_cast<signed char>(source.readByte()));
}

/** A whole record. */
template <class Value>
struct Record {
    template <class Sink>
    static void write(Sink& sink, Value const& value) {
        sink.writeByte(static_cast<char>(Field<Value>::tag));
        Field<Value>::write(sink, value);
    }
    /** Whether the record is of this kind. Stops reading at the first tag that differs. */
    template <class Source>
    static bool readTags(Source& source) {
        return readTag(source) == Field<Value>::tag;
    }
    template <class Source>
    static void readPayload(Source& source, Value& value) {
        Field<Value>::read(source, value);
    }
};

template <class Element>
struct Record<std::vector<Element>> {
    template <class Sink>
    static void write(Sink& sink, std::vector<Element> const& values) {
        sink.writeByte(static_cast<char>(TYPE_LIST));
        sink.writeByte(static_cast<char>(Field<Element>::tag));
        sink.writeInt(static_cast<int>(values.size()));
        auto const written = sink.template writeAhead<Field<Element>>(values);
        for (auto value = values.begin() + written; value != values.end(); ++value)
            Field<Element>::write(sink, *value);
    }
    template <class Source>
    static bool readTags(Source& source) {
        if (readTag(source) != TYPE_LIST)
            return false;
        return readTag(source) == Field<Element>::tag;
    }
    /** Appends one element at a time: the count is not checked, so memory must not be reserved for it. */
    template <class Source>
    static void readPayload(Source& source, std::vector<Element>& values) {
        int const count = source.readInt();
        for (int i = source.template readAhead<Field<Element>>(count, values); i < count; ++i)
            Field<Element>::append(source, values);
    }
};

} // namespace utils::properties
