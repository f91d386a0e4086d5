// SPDX-License-Identifier: Apache-2.0
#include "Text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iostream>

#include <QByteArray>
#include <nlohmann/json.hpp>

#include "Terminal.h"

namespace tool {

namespace {

/** A character and its size in bytes; the size is 0 if the bytes are not UTF-8. */
struct Character {
    std::uint32_t code;
    std::size_t size;
};

constexpr std::uint32_t continuationBits = 6;

std::uint32_t byteAt(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

/** Decodes a character outside ASCII. */
Character characterAt(std::string_view text, std::size_t at) {
    std::uint32_t const lead = byteAt(text, at);
    std::size_t const size = lead < 0xC0 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF8 ? 4 : 0;
    if (size == 0 || size > text.size() - at)
        return {0, 0};
    std::uint32_t code = lead & (0x7FU >> size);
    for (std::size_t i = 1; i < size; ++i) {
        std::uint32_t const byte = byteAt(text, at + i);
        if ((byte & 0xC0U) != 0x80)
            return {0, 0};
        code = code << continuationBits | (byte & 0x3FU);
    }
    constexpr std::array<std::uint32_t, 5> least{0, 0, 0x80, 0x800, 0x1'0000}; // by size
    bool const isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    return code < least.at(size) || isSurrogate || code > 0x10'FFFF ? Character{0, 0} : Character{code, size};
}

bool isControl(std::uint32_t code) {
    return code >= 0x80 && code < 0xA0;
}

bool isDirection(std::uint32_t code) {
    return code == 0x061C || code == 0x200E || code == 0x200F || (code >= 0x202A && code <= 0x202E) ||
           (code >= 0x2066 && code <= 0x2069);
}

bool isEscaped(unsigned char ascii, Escapes escapes) {
    switch (ascii) {
    case '"':
        return escapes.quotes;
    case '\\':
        return escapes.backslashes;
    case '\n':
    case '\t':
        return escapes.lineBreaks;
    case 0x7F:
        return escapes.controls;
    default:
        return ascii < 0x20;
    }
}

std::string escapeOf(std::uint32_t code) {
    constexpr std::string_view characters = "\"\\\b\f\n\r\t";
    constexpr std::string_view letters = "\"\\bfnrt";
    if (code < 0x80)
        if (auto const found = characters.find(static_cast<char>(code)); found != std::string_view::npos)
            return {'\\', letters[found]};
    std::string escape = "\\u";
    for (int shift = 12; shift >= 0; shift -= 4)
        escape += "0123456789abcdef"[code >> shift & 0xFU];
    return escape;
}

/** Passes text to `write` in pieces, with escapes where they are needed. */
template <class Write>
void escape(std::string_view text, Escapes escapes, Write write) {
    constexpr std::size_t ascii = 128;
    std::array<bool, 256> isPlain{}; // by byte value; false outside ASCII, where characters are decoded
    for (std::size_t byte = 0; byte < ascii; ++byte)
        isPlain.at(byte) = !isEscaped(static_cast<unsigned char>(byte), escapes);
    std::size_t begin = 0;
    for (std::size_t at = 0; at < text.size();) {
        if (isPlain[byteAt(text, at)]) { // NOLINT(cppcoreguidelines-pro-bounds-constant-array-index)
            ++at;
            continue;
        }
        Character character{byteAt(text, at), 1};
        if (character.code >= ascii) {
            character = characterAt(text, at);
            bool const isShown = character.size != 0 && !(escapes.controls && isControl(character.code)) &&
                                 !(escapes.directions && isDirection(character.code));
            if (isShown) {
                at += character.size;
                continue;
            }
        }
        write(text.substr(begin, at - begin));
        write(character.size == 0 ? "\xEF\xBF\xBD" : escapeOf(character.code));
        at += std::max<std::size_t>(character.size, 1);
        begin = at;
    }
    write(text.substr(begin));
}

void appendJson(std::string& out, std::string const& text, Escapes escapes) {
    out += '"';
    escape(text, escapes, [&out](std::string_view piece) { out += piece; });
    out += '"';
}

void appendJson(std::string& out, double value, Escapes /*escapes*/) {
    if (std::isnan(value))
        out += "\"nan\"";
    else if (std::isinf(value))
        out += value < 0 ? "\"-inf\"" : "\"inf\"";
    else
        out += nlohmann::json(value).dump(); // the shortest text that gives the same number
}

void appendJson(std::string& out, int value, Escapes /*escapes*/) {
    out += std::to_string(value);
}

void appendJson(std::string& out, bool value, Escapes /*escapes*/) {
    out += value ? "true" : "false";
}

template <class T>
void appendJson(std::string& out, std::vector<T> const& values, Escapes escapes) {
    out += '[';
    char const* separator = "";
    for (auto&& value : values) {
        out += separator;
        appendJson(out, value, escapes);
        separator = ", ";
    }
    out += ']';
}

} // namespace

Escapes forJsonOutput() {
    return isTerminal() ? Escapes{true, true, true, true, true} : forJson;
}

Escapes forJsonLine() {
    return {true, true, true, true, isTerminal()};
}

Escapes forLine() {
    return {false, true, true, true, isTerminal()};
}

void printEscaped(std::ostream& out, std::string_view text, Escapes escapes) {
    escape(text, escapes, [&out](std::string_view piece) { out << piece; });
}

std::string jsonText(Value const& value, Escapes escapes) {
    std::string text;
    std::visit([&](auto const& content) { appendJson(text, content, escapes); }, value);
    return text;
}

bool isUtf8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const size = byteAt(text, at) < 0x80 ? 1 : characterAt(text, at).size;
        if (size == 0)
            return false;
        at += size;
    }
    return true;
}

std::string counted(std::size_t count, char const* one, char const* several) {
    return std::to_string(count) + ' ' + (count == 1 ? one : several);
}

std::string inElement(std::size_t number, std::string const& message) {
    return "element " + std::to_string(number) + ": " + message;
}

std::string base64(std::string_view bytes) {
    return QByteArray::fromRawData(bytes.data(), static_cast<int>(bytes.size())).toBase64().toStdString();
}

QString toQString(std::string const& utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<int>(utf8.size()));
}

void complain(std::string const& message) {
    constexpr std::size_t most = 600;
    constexpr Escapes escapes{false, false, true, true, true};
    std::string const text = message.size() <= most ? message
                                                    : message.substr(0, most / 2) + " ... " +
                                                          message.substr(message.size() - most / 2);
    std::cerr << "velmorand-register: ";
    printEscaped(std::cerr, text, escapes);
    std::cerr << std::endl;
}

} // namespace tool
