// SPDX-License-Identifier: Apache-2.0
#include "Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iostream>
#include <iterator>
#include <limits>
#include <system_error>

#include <QByteArray>
#include <nlohmann/json.hpp>

#include "Failure.h"

namespace tool {

namespace {

[[noreturn]] void refuse(std::string const& text, char const* what) {
    throw Failure(Status::misuse, "\"" + text + "\" is no " + what);
}

/** Parses all of a text. */
template <class T>
T parseDigits(std::string const& text, char const* what) {
    T value{};
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::result_out_of_range && end == text.data() + text.size())
        throw Failure(Status::misuse, text + " is out of the range of " + what + "s");
    if (error != std::errc() || end != text.data() + text.size())
        refuse(text, what);
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
    static double parse(std::string const& text) { return parseDigits<double>(text, "number"); }
    static std::string text(double value) {
        if (std::isnan(value))
            return "nan";
        std::array<char, 32> digits{}; // the longest takes 24
        return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr};
    }
};

template <>
struct Element<int> {
    static int parse(std::string const& text) { return parseDigits<int>(text, "integer"); }
    static std::string text(int value) { return std::to_string(value); }
};

template <>
struct Element<bool> {
    static bool parse(std::string const& text) {
        if (text != "true" && text != "false")
            refuse(text, "boolean: true or false");
        return text == "true";
    }
    static std::string text(bool value) { return value ? "true" : "false"; }
};

/** How a kind of value is made of its elements' texts, and the other way round. */
template <class T>
struct Form {
    static Value parse(std::vector<std::string> const& texts) {
        if (texts.size() != 1)
            throw Failure(Status::misuse, texts.empty() ? "a value is missing" : "more than one value");
        return Element<T>::parse(texts.front());
    }
    static std::vector<std::string> texts(T const& value) { return {Element<T>::text(value)}; }
};

template <class T>
struct Form<std::vector<T>> {
    static Value parse(std::vector<std::string> const& texts) {
        std::vector<T> values;
        std::transform(texts.begin(), texts.end(), std::back_inserter(values), Element<T>::parse);
        return values;
    }
    static std::vector<std::string> texts(std::vector<T> const& values) {
        std::vector<std::string> texts;
        std::transform(values.begin(), values.end(), std::back_inserter(texts), Element<T>::text);
        return texts;
    }
};

template <std::size_t... Kinds>
Value parseAs(std::size_t kind, std::vector<std::string> const& texts,
              std::index_sequence<Kinds...> /*all*/) {
    constexpr std::array parsers{&Form<std::variant_alternative_t<Kinds, Value>>::parse...};
    return parsers.at(kind)(texts);
}

std::string jsonOf(std::string const& text) {
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string jsonOf(double value) {
    if (std::isnan(value))
        return "\"nan\"";
    if (std::isinf(value))
        return value < 0 ? "\"-inf\"" : "\"inf\"";
    return nlohmann::json(value).dump(); // the fewest digits that read back the same
}

std::string jsonOf(int value) {
    return std::to_string(value);
}

std::string jsonOf(bool value) {
    return value ? "true" : "false";
}

template <class T>
std::string jsonOf(std::vector<T> const& values) {
    std::string text = "[";
    for (auto&& value : values)
        text += (text.size() == 1 ? "" : ", ") + jsonOf(value);
    return text + "]";
}

/** With escapes for the control characters that JSON lets through: DEL, and U+0080 to U+009F. */
std::string withoutControls(std::string const& text) {
    std::string line;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto const byte = static_cast<unsigned char>(text[i]);
        auto const next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : '\xFF');
        if (byte == 0x7F) {
            line += "\\u007f";
        } else if (byte == 0xC2 && next < 0xA0) {
            line += next < 0x90 ? "\\u008" : "\\u009";
            line += "0123456789abcdef"[next & 0xFU];
            ++i;
        } else {
            line += text[i];
        }
    }
    return line;
}

} // namespace

Value parseValue(std::string const& kind, std::vector<std::string> const& texts) {
    auto const* const found = std::find(kindNames.begin(), kindNames.end(), kind);
    if (found == kindNames.end()) {
        std::string all;
        for (char const* const name : kindNames)
            all += (all.empty() ? "" : ", ") + std::string(name);
        throw Failure(Status::misuse, "no such kind: " + kind + " (there are " + all + ")");
    }
    return parseAs(static_cast<std::size_t>(found - kindNames.begin()), texts,
                   std::make_index_sequence<kindNames.size()>());
}

std::vector<std::string> elementTexts(Value const& value) {
    return std::visit(
        [](auto const& content) { return Form<std::decay_t<decltype(content)>>::texts(content); }, value);
}

QString toQString(std::string const& utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<int>(utf8.size()));
}

bool isUtf8(std::string const& text) {
    std::string const within = '/' + text; // a mark of UTF-8 at the beginning of a text would be lost
    return toQString(within).toUtf8().toStdString() == within;
}

std::string base64(std::string const& bytes) {
    return QByteArray::fromRawData(bytes.data(), static_cast<int>(bytes.size())).toBase64().toStdString();
}

std::string jsonText(Value const& value) {
    return std::visit([](auto const& content) { return jsonOf(content); }, value);
}

std::string jsonShown(Value const& value) {
    return withoutControls(jsonText(value));
}

std::string shown(std::string const& text) {
    std::string const quoted = jsonOf(text);
    std::string line;
    for (std::size_t i = 1; i + 1 < quoted.size(); ++i) {
        if (quoted[i] == '\\' && quoted[++i] != '"')
            line += '\\';
        line += quoted[i];
    }
    return withoutControls(line);
}

void complain(std::string const& message) {
    constexpr std::size_t most = 600;
    std::string const text = message.size() <= most ? message
                                                    : message.substr(0, most / 2) + " ... " +
                                                          message.substr(message.size() - most / 2);
    std::cerr << "velmorand-register: " << shown(text) << std::endl;
}

} // namespace tool
