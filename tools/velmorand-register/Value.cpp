// SPDX-License-Identifier: Apache-2.0
#include "Value.h"

#include <algorithm>
#include <iterator>

#include <utils/Exception.h>

#include "Failure.h"

namespace tool {

namespace {

std::size_t requiredKind(std::string const& name) {
    std::size_t const kind = velmorand::kindIndex(name);
    if (kind != kindNames.size())
        return kind;
    throw WrongCall("no such kind: " + name + " (kinds: " + allKinds() + ")");
}

template <class T>
std::vector<Value> elements(T const& value) {
    return {value};
}

template <class T>
std::vector<Value> elements(std::vector<T> const& values) {
    std::vector<Value> elements;
    std::transform(values.begin(), values.end(), std::back_inserter(elements),
                   [](T const& value) { return Value(value); });
    return elements;
}

} // namespace

std::string allKinds() {
    std::string all;
    for (char const* const name : kindNames)
        all += (all.empty() ? "" : ", ") + std::string(name);
    return all;
}

std::string_view kindName(Reading const& reading) {
    return reading.value ? kindNames.at(reading.value->index()) : "bytes";
}

Value parseValue(std::string const& kind, std::vector<std::string> const& texts) {
    std::size_t const index = requiredKind(kind);
    if (index < singles && texts.empty())
        throw WrongCall("VALUE is required");
    if (index < singles && texts.size() > 1)
        throw WrongCall("too many values: only a list takes more than one");
    try {
        return velmorand::valueOf(index, texts);
    } catch (utils::Exception const& error) {
        throw Failure(Status::misuse, error.what());
    }
}

std::vector<std::string> elementTexts(Value const& value) {
    return velmorand::textsOf(value);
}

std::vector<Value> elementsOf(Value const& value) {
    return std::visit([](auto const& content) { return elements(content); }, value);
}

} // namespace tool
