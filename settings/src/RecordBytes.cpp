// SPDX-License-Identifier: Apache-2.0
#include "RecordBytes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

namespace velmorand {

namespace {

struct Kind {
    std::string_view tags;
    char const* phrase;
};

constexpr std::array<Kind, 8> kinds{{{"S", "a string"},
                                     {"N", "a number"},
                                     {"I", "an integer"},
                                     {"B", "a boolean"},
                                     {"LS", "a list of strings"},
                                     {"LN", "a list of numbers"},
                                     {"LI", "a list of integers"},
                                     {"LB", "a list of booleans"}}};

/** What is left of a record. */
class Rest {
public:
    explicit Rest(std::string_view bytes) : _bytes(bytes) {}

    char tag() {
        char const first = _bytes.empty() ? '\0' : _bytes[0];
        skip(1);
        return first;
    }

    /** A length or a count, if there is one. */
    std::optional<std::uint64_t> size() {
        if (_bytes.size() < 4)
            return std::nullopt;
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < 4; ++i)
            value |= std::uint32_t{static_cast<unsigned char>(_bytes[i])} << (8 * i);
        skip(4);
        return value <= INT32_MAX ? std::optional<std::uint64_t>(value) : std::nullopt;
    }

    bool skip(std::uint64_t count) {
        bool const isThere = count <= _bytes.size();
        _bytes.remove_prefix(std::min<std::uint64_t>(count, _bytes.size()));
        return isThere;
    }

    bool skipString() {
        auto const length = size();
        return length && skip(*length);
    }

    /** Skips elements of a tag. */
    bool skip(char tag, std::uint64_t count) {
        switch (tag) {
        case 'N':
            return skip(8 * count);
        case 'I':
            return skip(4 * count);
        case 'B':
            return skip(count);
        default:
            break;
        }
        for (std::uint64_t i = 0; i < count; ++i)
            if (!skipString())
                return false;
        return true;
    }

private:
    std::string_view _bytes;
};

template <class Bits>
void appendBits(std::string& record, Bits bits) {
    for (std::size_t i = 0; i < sizeof bits; ++i)
        record += static_cast<char>(bits >> (8 * i) & 0xFFU);
}

void append(std::string& record, std::string const& value) {
    appendBits(record, static_cast<std::uint32_t>(value.size()));
    record += value;
}

void append(std::string& record, double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    appendBits(record, bits);
}

void append(std::string& record, int value) {
    appendBits(record, static_cast<std::uint32_t>(value));
}

void append(std::string& record, bool value) {
    record += value ? '\1' : '\0';
}

template <class T>
constexpr char tagOf = '\0';
template <>
constexpr char tagOf<std::string> = 'S';
template <>
constexpr char tagOf<double> = 'N';
template <>
constexpr char tagOf<int> = 'I';
template <>
constexpr char tagOf<bool> = 'B';

template <class T>
struct Record {
    static void write(std::string& record, T const& value) {
        record = tagOf<T>;
        append(record, value);
    }
};

template <class T>
struct Record<std::vector<T>> {
    static void write(std::string& record, std::vector<T> const& values) {
        record = {'L', tagOf<T>};
        appendBits(record, static_cast<std::uint32_t>(values.size()));
        for (T const& value : values)
            append(record, value);
    }
};

} // namespace

template <class T>
std::string recordOf(T const& value) {
    std::string record;
    Record<T>::write(record, value);
    return record;
}

template std::string recordOf(std::string const&);
template std::string recordOf(double const&);
template std::string recordOf(int const&);
template std::string recordOf(bool const&);
template std::string recordOf(std::vector<std::string> const&);
template std::string recordOf(std::vector<double> const&);
template std::string recordOf(std::vector<int> const&);
template std::string recordOf(std::vector<bool> const&);

char const* phraseFor(std::string_view record) {
    if (record.empty())
        return "an empty property";
    auto const* const kind = std::find_if(kinds.begin(), kinds.end(), [record](Kind const& known) {
        return record.substr(0, known.tags.size()) == known.tags;
    });
    return kind != kinds.end() ? kind->phrase : "bytes that are not a value";
}

bool isComplete(std::string_view record) {
    Rest rest(record);
    char const tag = rest.tag();
    if (tag != 'L')
        return rest.skip(tag, 1);
    char const elementTag = rest.tag();
    auto const count = rest.size();
    return count && rest.skip(elementTag, *count);
}

} // namespace velmorand
