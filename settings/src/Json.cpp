// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <charconv>
#include <cmath>
#include <string>
#include <vector>

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QString>

#include "velmorand/Declared.h"

namespace velmorand::detail {

// Values are encoded as in catalogues: see docs/catalogue-format.md.

template <>
std::string json(std::string const& text) {
    QByteArray const bytes = QByteArray::fromRawData(text.data(), static_cast<int>(text.size()));
    QString const decoded = QString::fromUtf8(bytes);
    if (decoded.toUtf8() != bytes)
        return R"({"base64": ")" + bytes.toBase64().toStdString() + "\"}";
    std::string const list = QJsonDocument(QJsonArray{decoded}).toJson(QJsonDocument::Compact).toStdString();
    return list.substr(1, list.size() - 2);
}

template <>
std::string json(double const& number) {
    if (std::isnan(number))
        return R"("nan")";
    if (std::isinf(number))
        return number > 0 ? R"("inf")" : R"("-inf")";
    std::array<char, 32> text{}; // enough for the shortest text of any double
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

template <>
std::string json(int const& number) {
    return std::to_string(number);
}

template <>
std::string json(bool const& value) {
    return value ? "true" : "false";
}

namespace {

template <class T>
std::string listJson(std::vector<T> const& values) {
    std::string text = "[";
    for (auto const& value : values)
        text += (text.size() == 1 ? "" : ", ") + json<T>(value);
    return text + "]";
}

/** A text, truncated if it is too long for a message. */
std::string shortened(std::string text) {
    constexpr std::size_t longest = 200;
    if (text.size() <= longest)
        return text;
    std::size_t end = longest;
    while ((static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) // not in the middle of a character
        --end;
    return text.substr(0, end) + "...";
}

/** A limit, given as JSON, without the quotes around a number, a duration or a date that is stored as text. */
std::string limitText(std::string const& limit) {
    bool const isText = limit.size() > 2 && limit.front() == '"';
    std::size_t const first = isText && limit[1] == '-' ? 2 : 1;
    bool const isNumber = isText && limit[first] >= '0' && limit[first] <= '9';
    return isNumber ? limit.substr(1, limit.size() - 2) : limit;
}

std::string joined(std::vector<std::string> const& texts) {
    std::string all;
    for (std::string const& text : texts)
        all += (all.empty() ? "" : ", ") + text;
    return all;
}

} // namespace

template <>
std::string json(std::vector<std::string> const& values) {
    return listJson(values);
}
template <>
std::string json(std::vector<double> const& values) {
    return listJson(values);
}
template <>
std::string json(std::vector<int> const& values) {
    return listJson(values);
}
template <>
std::string json(std::vector<bool> const& values) {
    return listJson(values);
}

std::string notValid(std::string const& value, std::string const& expected) {
    return shortened(value) + " is not allowed" + (expected.empty() ? "" : ": expected " + expected);
}

std::string notWithin(std::string const& value, std::string const& minimum, std::string const& maximum) {
    std::string const least = limitText(minimum);
    std::string const most = limitText(maximum);
    if (least.empty())
        return notValid(value, most.empty() ? most : "at most " + most);
    return notValid(value, most.empty() ? "at least " + least : least + " to " + most);
}

std::string notAmong(std::string const& value, std::vector<std::string> const& choices) {
    return notValid(value, (choices.size() == 1 ? "" : "one of ") + joined(choices));
}

std::string inElement(std::size_t number, std::string const& message) {
    return number == 0 ? message : "element " + std::to_string(number) + ": " + message;
}

std::string notRepresentable(std::string const& number) {
    return notValid(number, "a number that the type can represent");
}

std::string notRepresentable() {
    return "the type cannot represent the value";
}

} // namespace velmorand::detail
