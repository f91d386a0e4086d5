// SPDX-License-Identifier: Apache-2.0
#include "Record.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>
#include <variant>
#include <vector>

#include <utils/Exception.h>

#include "Names.h"
#include "velmorand/AnyValue.h"

namespace velmorand {

namespace {

constexpr char listTag = 'L';
constexpr std::string_view elementTags = "SNIB"; // in the order of `AnyValue`, where the lists follow

constexpr std::array<char const*, kindNames.size()> phrases{
    "a string",          "a number",          "an integer",         "a boolean",
    "a list of strings", "a list of numbers", "a list of integers", "a list of booleans"};

/** The tags at the beginning of a record. */
struct Tags {
    std::optional<std::size_t> kind; ///< an index of `kindNames`; none if the tags are invalid
    std::size_t size;                ///< of the tags that exist, at most 2 bytes
};

Tags tagsOf(std::string_view record) {
    bool const isList = !record.empty() && record.front() == listTag;
    std::size_t const at = isList ? 1 : 0;
    if (record.size() <= at)
        return {std::nullopt, record.size()};
    std::size_t const element = elementTags.find(record[at]);
    if (element == std::string_view::npos)
        return {std::nullopt, at + 1};
    return {element + (isList ? elementTags.size() : 0), at + 1};
}

template <class T, class... Kinds>
constexpr std::size_t indexIn(std::variant<Kinds...> const* /*kinds*/) {
    std::size_t index = 0;
    bool isFound = false;
    ((isFound = isFound || std::is_same_v<T, Kinds>, index += isFound ? 0 : 1), ...);
    return index;
}

/** A type's index of `kindNames`. */
template <class T>
constexpr std::size_t kindOf = indexIn<T>(static_cast<AnyValue const*>(nullptr));

std::string counted(std::size_t count, char const* noun) {
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

/** Reads the fields of a record, and remembers the first problem. */
class Reader {
public:
    /** Starts after the tags, whose size is `tags`. */
    Reader(std::string_view record, std::size_t tags) : _record(record), _left(record.substr(tags)) {}

    [[nodiscard]] std::size_t left() const { return _left.size(); }
    [[nodiscard]] std::string const& damage() const { return _damage; }

    void note(std::string const& damage) {
        if (_damage.empty())
            _damage = damage;
    }

    /** The next `size` bytes, or as many as are left. */
    std::string_view take(std::size_t size) {
        if (size > _left.size())
            note("truncated: " + counted(size, "byte") + " expected at offset " +
                 std::to_string(_record.size() - _left.size()) + ", " + std::to_string(_left.size()) +
                 " found");
        std::string_view const bytes = _left.substr(0, size);
        _left.remove_prefix(bytes.size());
        return bytes;
    }

    /** An unsigned integer, little-endian; 0 if it is truncated. */
    template <class Bits>
    Bits bits() {
        std::string_view const bytes = take(sizeof(Bits));
        if (bytes.size() < sizeof(Bits))
            return 0;
        Bits bits = 0;
        for (std::size_t i = 0; i < sizeof(Bits); ++i)
            bits |= static_cast<Bits>(Bits{static_cast<unsigned char>(bytes[i])} << 8 * i);
        return bits;
    }

    /** A length or a count; none if it is negative. `what` names it in the message. */
    std::optional<std::size_t> size(char const* what) {
        auto const size = static_cast<std::int32_t>(bits<std::uint32_t>());
        if (size >= 0)
            return static_cast<std::size_t>(size);
        note(std::string("negative ") + what + ": " + std::to_string(size));
        return std::nullopt;
    }

private:
    std::string_view _record;
    std::string_view _left;
    std::string _damage;
};

template <class Bits>
void appendBits(std::string& record, Bits bits) {
    for (std::size_t i = 0; i < sizeof bits; ++i)
        record += static_cast<char>(bits >> 8 * i & 0xFFU);
}

void appendSize(std::string& record, std::size_t size) {
    appendBits(record, static_cast<std::uint32_t>(size));
}

/**
 * Encodes and decodes a single value, or an element of a list. `take` decodes in place, because on i386 the result of a
 * function, and a copy, can lose the bits of a signalling NaN.
 */
template <class T>
struct Element;

template <>
struct Element<std::string> {
    static void append(std::string& record, std::string const& value) {
        appendSize(record, value.size());
        record += value;
    }
    static void take(Reader& reader, std::string& value) {
        value = reader.take(reader.size("length").value_or(0));
    }
};

template <>
struct Element<double> {
    static void append(std::string& record, double const& value) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        appendBits(record, bits);
    }
    /** Missing bytes count as 0, as in the register's readers, while a truncated integer counts as 0 as a whole. */
    static void take(Reader& reader, double& value) {
        std::uint64_t bits = 0;
        std::size_t shift = 0;
        for (char const byte : reader.take(sizeof bits)) {
            bits |= std::uint64_t{static_cast<unsigned char>(byte)} << shift;
            shift += 8;
        }
        std::memcpy(&value, &bits, sizeof value);
    }
};

template <>
struct Element<int> {
    static void append(std::string& record, int value) {
        appendBits(record, static_cast<std::uint32_t>(value));
    }
    static void take(Reader& reader, int& value) {
        value = static_cast<std::int32_t>(reader.bits<std::uint32_t>());
    }
};

template <>
struct Element<bool> {
    static void append(std::string& record, bool value) { record += value ? '\1' : '\0'; }
    static void take(Reader& reader, bool& value) { value = reader.bits<std::uint8_t>() != 0; }
    static void take(Reader& reader, std::vector<bool>::reference value) {
        value = reader.bits<std::uint8_t>() != 0;
    }
};

/** Encodes and decodes the bytes after the tags. `take` decodes into a new value; false if it cannot. */
template <class T>
struct Content {
    static void append(std::string& record, T const& value) { Element<T>::append(record, value); }
    static bool take(Reader& reader, T& value) {
        Element<T>::take(reader, value);
        return true;
    }
};

template <class T>
struct Content<std::vector<T>> {
    static void append(std::string& record, std::vector<T> const& values) {
        appendSize(record, values.size());
        for (T const& value : values)
            Element<T>::append(record, value);
    }

    /** False if the count exceeds the size of the record: reserving memory for it could exhaust the memory. */
    static bool take(Reader& reader, std::vector<T>& values) {
        constexpr std::size_t tagsAndCount = 6;
        std::size_t const count = reader.size("count").value_or(0);
        if (count > tagsAndCount + reader.left()) {
            reader.note("truncated: " + counted(count, "element") + " expected, only " +
                        counted(reader.left(), "byte") + " left");
            return false;
        }
        values.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            values.emplace_back();
            Element<T>::take(reader, values.back());
        }
        return true;
    }
};

template <std::size_t Kind>
bool takeKind(Reader& reader, AnyValue& value) {
    return Content<std::variant_alternative_t<Kind, AnyValue>>::take(reader, value.emplace<Kind>());
}

template <std::size_t... Kinds>
bool takeContent(std::size_t kind, Reader& reader, AnyValue& value, std::index_sequence<Kinds...> /*all*/) {
    constexpr std::array takers{&takeKind<Kinds>...};
    return takers.at(kind)(reader, value);
}

/** Why the tags, whose size is `tags`, are invalid. */
std::string unknownKind(std::string_view record, std::size_t tags) {
    if (tags == 1 && record.front() == listTag)
        return "truncated: 1 byte expected at offset 1, 0 found";
    auto const tag = static_cast<unsigned char>(record[tags - 1]);
    constexpr std::string_view digits = "0123456789abcdef";
    return std::string("unknown ") + (tags == 1 ? "type" : "element type") + ": 0x" + digits[tag >> 4U] +
           digits[tag & 0xFU];
}

} // namespace

void requireSize(std::string const& name, std::size_t size, char const* unit) {
    constexpr std::size_t most = std::numeric_limits<std::int32_t>::max();
    if (size > most)
        throw utils::Exception("cannot write " + inQuotes(name) + ": too long: " + std::to_string(size) +
                               ' ' + unit + " (at most " + std::to_string(most) + ')');
}

template <class T>
std::string encoded(T const& value) {
    constexpr std::size_t kind = kindOf<T>;
    std::string record;
    if (kind >= elementTags.size())
        record += listTag;
    record += elementTags[kind % elementTags.size()];
    Content<T>::append(record, value);
    return record;
}

template <class T>
std::optional<T> decoded(std::string_view record) {
    Tags const tags = tagsOf(record);
    if (tags.kind != kindOf<T>)
        return std::nullopt;
    Reader reader(record, tags.size);
    std::optional<T> value(std::in_place);
    if (!Content<T>::take(reader, *value) || !reader.damage().empty())
        value.reset();
    return value;
}

template <class T>
std::string expectedInsteadOf(char const* found) {
    return std::string("expected ") + phrases.at(kindOf<T>) + ", found " + found;
}

template <class T>
std::string whyNotDecoded(std::string_view record) {
    if (record.empty())
        return expectedInsteadOf<T>("an empty property");
    auto const kind = tagsOf(record).kind;
    if (!kind)
        return expectedInsteadOf<T>("bytes that are not a value");
    return expectedInsteadOf<T>(*kind == kindOf<T> ? "a truncated value" : phrases.at(*kind));
}

// The eight kinds.
#define VELMORAND_KIND(...)                                                                                  \
    template std::string encoded(__VA_ARGS__ const&);                                                        \
    template std::optional<__VA_ARGS__> decoded(std::string_view);                                           \
    template std::string expectedInsteadOf<__VA_ARGS__>(char const*);                                        \
    template std::string whyNotDecoded<__VA_ARGS__>(std::string_view);

VELMORAND_KIND(std::string)
VELMORAND_KIND(double)
VELMORAND_KIND(int)
VELMORAND_KIND(bool)
VELMORAND_KIND(std::vector<std::string>)
VELMORAND_KIND(std::vector<double>)
VELMORAND_KIND(std::vector<int>)
VELMORAND_KIND(std::vector<bool>)

#undef VELMORAND_KIND

std::string encodeRecord(AnyValue const& value) {
    return std::visit([](auto const& content) { return encoded(content); }, value);
}

DecodedRecord decodeRecord(std::string_view record) {
    DecodedRecord result; // the only one returned, so that it is not copied
    if (record.empty())
        return result;
    Tags const tags = tagsOf(record);
    if (!tags.kind) {
        result.damage = unknownKind(record, tags.size);
        return result;
    }
    Reader reader(record, tags.size);
    AnyValue& value = result.value.emplace();
    if (!takeContent(*tags.kind, reader, value, std::make_index_sequence<kindNames.size()>()))
        result.value.reset();
    if (reader.left() > 0)
        reader.note("unexpected data after the value: " + counted(reader.left(), "byte"));
    result.damage = reader.damage();
    return result;
}

} // namespace velmorand
