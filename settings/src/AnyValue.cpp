// SPDX-License-Identifier: Apache-2.0
#include "velmorand/AnyValue.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <system_error>
#include <utility>

#include <utils/Exception.h>

#include "velmorand/Declared.h"

namespace velmorand {

namespace {

using utils::Exception;

/** Parses a whole text. `what` and `range` are for messages. */
template <class T>
T parseDigits(std::string const& text, char const* what, char const* range) {
    T value{};
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::result_out_of_range && end == text.data() + text.size())
        throw Exception(text + " is out of range for " + what + range);
    if (error != std::errc() || end != text.data() + text.size())
        throw Exception("\"" + text + "\" is not " + what);
    return value;
}

template <class T>
struct Element;

template <>
struct Element<std::string> {
    static std::string parse(std::string const& text) { return text; }
    static std::string text(std::string const& value) { return value; }
};

template <>
struct Element<double> {
    static double parse(std::string const& text) { return parseDigits<double>(text, "a number", ""); }
    static std::string text(double value) {
        if (std::isnan(value))
            return "nan";
        std::array<char, 32> digits{}; // the longest takes 24
        return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr};
    }
};

template <>
struct Element<int> {
    static int parse(std::string const& text) {
        return parseDigits<int>(text, "an integer", " (-2147483648 to 2147483647)");
    }
    static std::string text(int value) { return std::to_string(value); }
};

template <>
struct Element<bool> {
    static bool parse(std::string const& text) {
        if (text != "true" && text != "false")
            throw Exception("\"" + text + "\" is not a boolean (use true or false)");
        return text == "true";
    }
    static std::string text(bool value) { return value ? "true" : "false"; }
};

/** A single value or a list, by its elements. */
template <class T>
struct Form {
    static AnyValue parse(std::vector<std::string> const& texts) {
        if (texts.size() != 1)
            throw Exception("a list of " + std::to_string(texts.size()) + " is not a single value");
        return Element<T>::parse(texts.front());
    }
    static std::vector<std::string> texts(T const& value) { return {Element<T>::text(value)}; }
};

template <class T>
struct Form<std::vector<T>> {
    static AnyValue parse(std::vector<std::string> const& texts) {
        std::vector<T> values;
        values.reserve(texts.size());
        try {
            std::transform(texts.begin(), texts.end(), std::back_inserter(values), Element<T>::parse);
        } catch (Exception const& error) {
            throw Exception(detail::inElement(values.size() + 1, error.what()));
        }
        return values;
    }
    static std::vector<std::string> texts(std::vector<T> const& values) {
        std::vector<std::string> texts;
        texts.reserve(values.size());
        std::transform(values.begin(), values.end(), std::back_inserter(texts), Element<T>::text);
        return texts;
    }
};

template <std::size_t... Kinds>
AnyValue parseAs(std::size_t kind, std::vector<std::string> const& texts,
                 std::index_sequence<Kinds...> /*all*/) {
    constexpr std::array parsers{&Form<std::variant_alternative_t<Kinds, AnyValue>>::parse...};
    return parsers.at(kind)(texts);
}

} // namespace

std::size_t kindIndex(std::string const& name) {
    auto const* const found = std::find(kindNames.begin(), kindNames.end(), name);
    return static_cast<std::size_t>(found - kindNames.begin());
}

AnyValue valueOf(std::size_t kind, std::vector<std::string> const& texts) {
    return parseAs(kind, texts, std::make_index_sequence<kindNames.size()>());
}

std::vector<std::string> textsOf(AnyValue const& value) {
    return std::visit(
        [](auto const& content) { return Form<std::decay_t<decltype(content)>>::texts(content); }, value);
}

} // namespace velmorand
