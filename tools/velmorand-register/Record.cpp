// SPDX-License-Identifier: Apache-2.0
#include "Record.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

#include "Text.h"

namespace tool {

namespace {

constexpr std::string_view tags = "SNIB"; // in the order of `Value`, whose lists come after them
constexpr char listTag = 'L';

/** Takes fields off the front of a record, and remembers the first thing that is wrong. */
class Reader {
public:
    explicit Reader(std::string_view record) : _record(record), _left(record) {}

    [[nodiscard]] std::size_t left() const { return _left.size(); }
    [[nodiscard]] std::string const& damage() const { return _damage; }

    void note(std::string const& damage) {
        if (_damage.empty())
            _damage = damage;
    }

    /** An integer of so many bytes, least significant first; 0 when they are not all there. */
    std::uint64_t bits(std::size_t size) {
        std::string_view const bytes = take(size);
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < bytes.size() && bytes.size() == size; ++i)
            bits |= std::uint64_t{static_cast<unsigned char>(bytes[i])} << 8 * i;
        return bits;
    }

    std::int32_t integer() { return static_cast<std::int32_t>(static_cast<std::uint32_t>(bits(4))); }

    /** As many of these bytes as there are. */
    std::string_view take(std::size_t size) {
        if (size > _left.size())
            note("truncated: " + counted(size, "byte", "bytes") + " expected at offset " +
                 std::to_string(_record.size() - _left.size()) + ", " + std::to_string(_left.size()) +
                 " found");
        std::string_view const bytes = _left.substr(0, size);
        _left.remove_prefix(bytes.size());
        return bytes;
    }

private:
    std::string_view _record;
    std::string_view _left;
    std::string _damage;
};

template <class T>
struct Field;

template <>
struct Field<std::string> {
    static std::string read(Reader& reader) {
        std::int32_t const length = reader.integer();
        if (length < 0) {
            reader.note("negative length: " + std::to_string(length));
            return {};
        }
        return std::string(reader.take(static_cast<std::size_t>(length)));
    }
};

template <>
struct Field<double> {
    static double read(Reader& reader) {
        std::uint64_t const bits = reader.bits(sizeof(double));
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
};

template <>
struct Field<int> {
    static int read(Reader& reader) { return reader.integer(); }
};

template <>
struct Field<bool> {
    static bool read(Reader& reader) { return reader.bits(1) != 0; }
};

/** How a kind of value stands in a record, after its tags. */
template <class T>
struct Payload {
    static std::optional<Value> read(Reader& reader) { return Field<T>::read(reader); }
};

template <class T>
struct Payload<std::vector<T>> {
    static std::optional<Value> read(Reader& reader) {
        std::int32_t const count = reader.integer();
        if (count < 0) {
            reader.note("negative count: " + std::to_string(count));
            return std::vector<T>();
        }
        auto const elements = static_cast<std::size_t>(count);
        if (elements > tagsAndCount + reader.left()) {
            reader.note("truncated: " + counted(elements, "element", "elements") + " expected, with only " +
                        counted(reader.left(), "byte", "bytes") + " left");
            return std::nullopt;
        }
        std::vector<T> values;
        for (std::size_t i = 0; i < elements; ++i)
            values.push_back(Field<T>::read(reader));
        return values;
    }

private:
    static constexpr std::size_t tagsAndCount = 6;
};

template <std::size_t... Kinds>
std::optional<Value> readPayload(std::size_t kind, Reader& reader, std::index_sequence<Kinds...> /*all*/) {
    constexpr std::array readers{&Payload<std::variant_alternative_t<Kinds, Value>>::read...};
    return readers.at(kind)(reader);
}

std::string unknownTag(char const* what, char tag) {
    auto const byte = static_cast<unsigned char>(tag);
    constexpr std::string_view digits = "0123456789abcdef";
    return std::string("unknown ") + what + ": 0x" + digits[byte >> 4U] + digits[byte & 0xFU];
}

} // namespace

Reading decode(std::string_view record) {
    if (record.empty())
        return {};
    Reader reader(record);
    std::size_t kind = 0;
    char const* what = "type";
    char tag = reader.take(1).front();
    if (tag == listTag) {
        std::string_view const element = reader.take(1);
        if (element.empty())
            return {std::nullopt, reader.damage()};
        tag = element.front();
        what = "element type";
        kind = tags.size();
    }
    std::size_t const found = tags.find(tag);
    if (found == std::string_view::npos)
        return {std::nullopt, unknownTag(what, tag)};
    Reading reading;
    reading.value = readPayload(kind + found, reader, std::make_index_sequence<kindNames.size()>());
    if (reader.damage().empty() && reader.left() > 0)
        reader.note("unexpected data after the value: " + counted(reader.left(), "byte", "bytes"));
    reading.damage = reader.damage();
    return reading;
}

std::string encode(Value const& value) {
    return velmorand::recordOf(value);
}

} // namespace tool
