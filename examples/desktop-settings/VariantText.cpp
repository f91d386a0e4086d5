// SPDX-License-Identifier: Apache-2.0
#include "VariantText.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <QString>

namespace desktop {

namespace {

/** Parses the text of one value. */
class Reader {
public:
    explicit Reader(std::string const& text) : _text(text) {}

    void skipBlanks() {
        while (_at < _text.size() && std::string_view(" \t\n\r").find(_text[_at]) != std::string_view::npos)
            ++_at;
    }

    [[nodiscard]] bool atEnd() const { return _at == _text.size(); }
    [[nodiscard]] char peek() const { return atEnd() ? '\0' : _text[_at]; }

    char take() {
        if (atEnd())
            fail();
        return _text[_at++];
    }

    bool accept(char expected) {
        if (peek() != expected)
            return false;
        ++_at;
        return true;
    }

    /** The next number or keyword. */
    std::string word() {
        std::size_t const start = _at;
        while (!atEnd() && std::string_view(" \t\n\r,[]'\"").find(_text[_at]) == std::string_view::npos)
            ++_at;
        return _text.substr(start, _at - start);
    }

    /** Skips an optional type annotation before a value: "@as", "uint32". */
    void skipTypeNote() {
        static constexpr std::array<std::string_view, 5> keywords = {"boolean", "int32", "uint32", "double",
                                                                     "string"};
        skipBlanks();
        std::size_t const start = _at;
        std::string const note = word();
        bool found = !note.empty() && note.front() == '@';
        for (std::string_view const keyword : keywords)
            found = found || note == keyword;
        if (!found)
            _at = start;
        skipBlanks();
    }

    [[noreturn]] void fail() const { throw std::runtime_error("not a value: " + _text); }

private:
    std::string const& _text;
    std::size_t _at = 0;
};

std::string readCodePoint(Reader& reader, int digits) {
    std::string hex;
    while (static_cast<int>(hex.size()) < digits)
        hex += reader.take();
    char32_t codePoint = 0;
    std::uint32_t number = 0;
    auto const [end, error] = std::from_chars(hex.data(), hex.data() + hex.size(), number, 16);
    if (error != std::errc() || end != hex.data() + hex.size())
        reader.fail();
    codePoint = number;
    return QString::fromUcs4(&codePoint, 1).toStdString();
}

std::string readEscape(Reader& reader) {
    static constexpr std::string_view letters = "abfnrtv";
    static constexpr std::string_view meanings = "\a\b\f\n\r\t\v";
    char const letter = reader.take();
    if (letter == '\n')
        return {};
    if (letter == 'u')
        return readCodePoint(reader, 4);
    if (letter == 'U')
        return readCodePoint(reader, 8);
    std::size_t const at = letters.find(letter);
    std::string text;
    text += at == std::string_view::npos ? letter : meanings[at];
    return text;
}

void readOne(Reader& reader, std::string& value) {
    char const quote = reader.take();
    if (quote != '\'' && quote != '"')
        reader.fail();
    value.clear();
    while (!reader.accept(quote)) {
        char const next = reader.take();
        value += next == '\\' ? readEscape(reader) : std::string(1, next);
    }
}

void readOne(Reader& reader, long long& value) {
    std::string const word = reader.word();
    char* end = nullptr;
    errno = 0;
    value = std::strtoll(word.c_str(), &end, 0);
    if (word.empty() || *end != '\0' || errno != 0)
        reader.fail();
}

void readOne(Reader& reader, int& value) {
    long long wide = 0;
    readOne(reader, wide);
    if (wide < std::numeric_limits<int>::min() || wide > std::numeric_limits<int>::max())
        reader.fail();
    value = static_cast<int>(wide);
}

void readOne(Reader& reader, double& value) {
    std::string const word = reader.word();
    auto const [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc() || end != word.data() + word.size())
        reader.fail();
}

void readOne(Reader& reader, bool& value) {
    std::string const word = reader.word();
    if (word != "true" && word != "false")
        reader.fail();
    value = word == "true";
}

template <class Element>
void readOne(Reader& reader, std::vector<Element>& values) {
    if (!reader.accept('['))
        reader.fail();
    reader.skipBlanks();
    if (reader.accept(']'))
        return;
    do {
        Element element{};
        reader.skipTypeNote();
        readOne(reader, element);
        values.push_back(std::move(element));
        reader.skipBlanks();
    } while (reader.accept(','));
    if (!reader.accept(']'))
        reader.fail();
}

/** The whole text as one value. */
template <class Held>
Held readWhole(std::string const& text) {
    Reader reader(text);
    Held value{};
    reader.skipTypeNote();
    readOne(reader, value);
    reader.skipBlanks();
    if (!reader.atEnd())
        reader.fail();
    return value;
}

std::optional<Value> readUnsigned(std::string const& text) {
    auto const wide = readWhole<long long>(text);
    if (wide < 0 || wide > std::numeric_limits<std::uint32_t>::max())
        throw std::runtime_error("not an unsigned number: " + text);
    if (wide > std::numeric_limits<int>::max())
        return std::nullopt;
    return static_cast<int>(wide);
}

} // namespace

std::optional<Value> parseVariant(std::string const& type, std::string const& text) {
    if (type == "s")
        return readWhole<std::string>(text);
    if (type == "i")
        return readWhole<int>(text);
    if (type == "u")
        return readUnsigned(text);
    if (type == "d")
        return readWhole<double>(text);
    if (type == "b")
        return readWhole<bool>(text);
    if (type == "as")
        return readWhole<std::vector<std::string>>(text);
    if (type == "ai")
        return readWhole<std::vector<int>>(text);
    if (type == "ad")
        return readWhole<std::vector<double>>(text);
    if (type == "ab")
        return readWhole<std::vector<bool>>(text);
    return std::nullopt;
}

} // namespace desktop
