// SPDX-License-Identifier: Apache-2.0
#include "JsonText.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <tuple>

#include "JsonValue.h"
#include "Text.h"

namespace tool {

namespace {

using nlohmann::json;

/** Iterates over text and keeps track of the position for messages. */
class CountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = char const*;
    using reference = char const&;

    CountingIterator(char const* at, JsonPlace* place) : _at(at), _place(place) {}

    reference operator*() const { return *_at; }
    CountingIterator& operator++() {
        _place->line += *_at == '\n' ? 1U : 0U;
        ++_place->byte;
        ++_at;
        return *this;
    }
    CountingIterator operator++(int) {
        CountingIterator const old = *this;
        ++*this;
        return old;
    }
    friend bool operator==(CountingIterator const& left, CountingIterator const& right) {
        return left._at == right._at;
    }
    friend bool operator!=(CountingIterator const& left, CountingIterator const& right) {
        return !(left == right);
    }

private:
    char const* _at;
    JsonPlace* _place;
};

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

/** The position of a byte in a text: "LINE:COLUMN", the column in characters. */
std::string placeOf(std::string_view text, std::size_t at) {
    std::string_view const before = text.substr(0, at);
    auto const line = 1 + std::count(before.begin(), before.end(), '\n');
    std::string_view const inLine = before.substr(before.rfind('\n') + 1);
    auto const column =
        1 + std::count_if(inLine.begin(), inLine.end(), [](char byte) { return !isContinuation(byte); });
    return std::to_string(line) + ':' + std::to_string(column);
}

/** The error for text that stops being JSON at this byte. */
BadJson badAt(std::string_view text, std::size_t at) {
    auto const refusal = [&](std::string const& reason) {
        return BadJson(placeOf(text, at) + ": not valid JSON: " + reason);
    };
    if (at >= text.size())
        return refusal("unexpected end of input");
    std::size_t end = at + 1;
    while (end < text.size() && isContinuation(text[end]))
        ++end;
    if (!isUtf8(text.substr(0, end))) // the parser has checked the text before it
        return refusal("not UTF-8 text");
    return refusal("unexpected " + jsonText(std::string(text.substr(at, end - at)), forJson));
}

/** The last number before this byte. */
std::string_view numberBefore(std::string_view text, std::size_t at) {
    std::string_view const before = text.substr(0, at);
    std::string_view const number = before.substr(0, before.find_last_of("0123456789") + 1);
    return number.substr(number.find_last_not_of("+-.0123456789Ee") + 1);
}

} // namespace

void parseJson(std::string const& text, JsonPlace& place, json::parser_callback_t const& take) {
    if (std::size_t const nul = text.find('\0'); nul != std::string::npos) // the parser would stop there
        throw badAt(text, nul);
    char const* const begin = text.data();
    try {
        std::ignore =
            json::parse(CountingIterator(begin, &place), CountingIterator(begin + text.size(), &place), take);
    } catch (json::out_of_range const&) {
        throw BadEntry(std::string(numberBefore(text, place.byte)) + " is out of range for a number");
    } catch (json::parse_error const& error) {
        throw badAt(text, error.byte - 1);
    }
}

std::string nounOf(json::parse_event_t event, json const& parsed) {
    using Event = json::parse_event_t;
    if (event != Event::value)
        return event == Event::object_start ? "an object" : "a list";
    return (parsed.is_null() ? "" : "a ") + std::string(parsed.type_name());
}

} // namespace tool
