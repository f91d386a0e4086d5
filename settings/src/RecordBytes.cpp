// SPDX-License-Identifier: Apache-2.0
#include "RecordBytes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

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

} // namespace

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
