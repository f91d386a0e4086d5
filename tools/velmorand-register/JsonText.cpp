// SPDX-License-Identifier: Apache-2.0
#include "JsonText.h"

#include <iterator>
#include <tuple>

namespace tool {

namespace {

/** Goes through text, for the parser, and counts the lines. */
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

} // namespace

void parseJson(std::string const& text, JsonPlace& place, nlohmann::json::parser_callback_t const& take) {
    char const* const begin = text.data();
    std::ignore = nlohmann::json::parse(CountingIterator(begin, &place),
                                        CountingIterator(begin + text.size(), &place), take);
}

} // namespace tool
