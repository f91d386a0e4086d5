// SPDX-License-Identifier: Apache-2.0
#include "RecordValue.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "RecordBytes.h"

namespace velmorand {

namespace {

/** Takes bytes, which must be there, from the front. */
std::string_view take(std::string_view& bytes, std::size_t count) {
    std::string_view const taken = bytes.substr(0, count);
    bytes.remove_prefix(count);
    return taken;
}

/** The same for a whole number, which has its least significant byte first. */
template <class Bits>
Bits takeBits(std::string_view& bytes) {
    Bits bits = 0;
    unsigned shift = 0;
    for (char const byte : take(bytes, sizeof bits)) {
        bits |= static_cast<Bits>(static_cast<unsigned char>(byte)) << shift;
        shift += 8;
    }
    return bits;
}

/** The same for a value of a kind, which has this tag. */
template <class T>
struct Element;

template <>
struct Element<std::string> {
    static constexpr char tag = 'S';
    static std::string take(std::string_view& bytes) {
        auto const length = takeBits<std::uint32_t>(bytes);
        return std::string(velmorand::take(bytes, length));
    }
};
template <>
struct Element<double> {
    static constexpr char tag = 'N';
    static double take(std::string_view& bytes) {
        auto const bits = takeBits<std::uint64_t>(bytes);
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
};
template <>
struct Element<int> {
    static constexpr char tag = 'I';
    static int take(std::string_view& bytes) { return static_cast<int>(takeBits<std::uint32_t>(bytes)); }
};
template <>
struct Element<bool> {
    static constexpr char tag = 'B';
    static bool take(std::string_view& bytes) { return velmorand::take(bytes, 1).front() != '\0'; }
};

/** The value after the tags of a complete record, which are these. */
template <class T>
struct Record {
    static constexpr char tags[] = {Element<T>::tag};
    static T take(std::string_view bytes) { return Element<T>::take(bytes); }
};
template <class T>
struct Record<std::vector<T>> {
    static constexpr char tags[] = {'L', Element<T>::tag};
    static std::vector<T> take(std::string_view bytes) {
        std::vector<T> values(takeBits<std::uint32_t>(bytes));
        for (auto&& value : values)
            value = Element<T>::take(bytes);
        return values;
    }
};

} // namespace

template <class T>
std::optional<T> valueIn(std::string_view record) {
    constexpr std::string_view tags(Record<T>::tags, sizeof Record<T>::tags);
    if (record.substr(0, tags.size()) != tags || !isComplete(record))
        return std::nullopt;
    return Record<T>::take(record.substr(tags.size()));
}

template std::optional<std::string> valueIn(std::string_view);
template std::optional<double> valueIn(std::string_view);
template std::optional<int> valueIn(std::string_view);
template std::optional<bool> valueIn(std::string_view);
template std::optional<std::vector<std::string>> valueIn(std::string_view);
template std::optional<std::vector<double>> valueIn(std::string_view);
template std::optional<std::vector<int>> valueIn(std::string_view);
template std::optional<std::vector<bool>> valueIn(std::string_view);

} // namespace velmorand
