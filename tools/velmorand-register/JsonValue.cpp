// SPDX-License-Identifier: Apache-2.0
#include "JsonValue.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <limits>
#include <utility>

#include <QByteArray>
#include <nlohmann/json.hpp>

#include "Settings.h"
#include "Text.h"

namespace tool {

using nlohmann::json;

std::string fromBase64(json const& text) {
    if (!text.is_string())
        throw BadEntry(text.dump() + " is not a string of base64");
    auto const& encoded = text.get_ref<std::string const&>();
    auto const decoded = QByteArray::fromBase64Encoding(
        QByteArray::fromRawData(encoded.data(), static_cast<int>(encoded.size())),
        QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded || decoded.decoded.toBase64().toStdString() != encoded) // also detects truncation
        throw BadEntry("\"" + encoded + "\" is not base64");
    return decoded.decoded.toStdString();
}

namespace {

template <class T>
T elementOf(json const& value);

template <>
std::string elementOf(json const& value) {
    if (value.is_object() && value.size() == 1 && value.contains("base64"))
        return fromBase64(value["base64"]); // in catalogues, each text that is not UTF-8
    if (!value.is_string())
        throw BadEntry(value.dump() + " is not a string");
    return value.get<std::string>();
}

template <>
double elementOf(json const& value) {
    if (value.is_number_integer() && !value.is_number_unsigned() && value == 0)
        return -0.0; // "-0" without a fraction, as some programs write it
    if (value.is_number())
        return value.get<double>();
    if (value == "nan")
        return std::numeric_limits<double>::quiet_NaN();
    if (value == "inf" || value == "-inf")
        return value == "inf" ? std::numeric_limits<double>::infinity()
                              : -std::numeric_limits<double>::infinity();
    throw BadEntry(value.dump() + " is not a number");
}

template <>
int elementOf(json const& value) {
    bool const fits =
        value.is_number_unsigned()
            ? value.get<std::uint64_t>() <= std::uint64_t{std::numeric_limits<int>::max()}
            : value.is_number_integer() && value.get<std::int64_t>() >= std::numeric_limits<int>::min();
    if (!fits)
        throw BadEntry(value.dump() + " is not a 32-bit integer");
    return value.get<int>();
}

template <>
bool elementOf(json const& value) {
    if (!value.is_boolean())
        throw BadEntry(value.dump() + " is not a boolean");
    return value.get<bool>();
}

/** Builds a value or a list from JSON, with a function for its elements. */
template <class T>
struct Form {
    template <class Convert>
    static T from(json const& value, Convert convert) {
        return convert(value);
    }
};

template <class T>
struct Form<std::vector<T>> {
    template <class Convert>
    static std::vector<T> from(json const& value, Convert convert) {
        if (!value.is_array())
            throw BadEntry(value.dump() + " is not a list");
        std::vector<T> values;
        try {
            std::transform(value.begin(), value.end(), std::back_inserter(values), convert);
        } catch (BadEntry const& error) {
            throw BadEntry(inElement(values.size() + 1, error.what()));
        }
        return values;
    }
};

template <class T>
struct ElementOf {
    using type = T;
};
template <class T>
struct ElementOf<std::vector<T>> {
    using type = T;
};

template <class T>
Value plainValue(json const& value) {
    return Form<T>::from(value, elementOf<typename ElementOf<T>::type>);
}

template <std::size_t... Kinds>
Value plainValueOf(std::size_t kind, json const& value, std::index_sequence<Kinds...> /*all*/) {
    constexpr std::array makers{&plainValue<std::variant_alternative_t<Kinds, Value>>...};
    return makers.at(kind)(value);
}

} // namespace

void requireCleanName(std::string const& name) {
    std::string const clean = cleanName(name);
    if (clean.empty())
        throw BadEntry("the name is empty");
    if (clean != name)
        throw BadEntry("invalid name (write \"" + clean + "\")");
}

std::size_t kindNamed(std::string const& name) {
    auto const* const found = std::find(kindNames.begin(), kindNames.end(), name);
    if (found == kindNames.end())
        throw BadEntry("no such type: " + name + " (types: " + allKinds() + ')');
    return static_cast<std::size_t>(found - kindNames.begin());
}

Value valueFrom(json const& value, std::size_t kind) {
    return plainValueOf(kind, value, std::make_index_sequence<kindNames.size()>());
}

Value encodedValueFrom(json const& value, std::string const& kind) {
    if (kind == "string")
        return fromBase64(value);
    if (kind == "strings")
        return Form<std::vector<std::string>>::from(value, fromBase64);
    throw BadEntry("an entry of type " + kind + R"( has a "value", not "base64")");
}

} // namespace tool
