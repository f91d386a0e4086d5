// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

#include <QString>

#include "Value.h"

/** Names and values as text. */
namespace tool {

/**
 * Which characters are written as JSON's escapes. Control characters below U+0020 always are, but for line feeds and
 * tabs; what is not UTF-8 is always written as U+FFFD.
 */
struct Escapes {
    bool quotes;      ///< '"'
    bool backslashes; ///< '\'
    bool lineBreaks;  ///< line feeds and tabs
    bool controls;    ///< DEL and U+0080 to U+009F, which terminals obey
    bool
        directions; ///< U+061C, U+200E, U+200F, U+202A to U+202E, U+2066 to U+2069, which reorder the text around them
};

/** A string in JSON for programs: no more than JSON demands. */
constexpr Escapes forJson{true, true, true, false, false};

/** A string in JSON for standard output's reader: all of them when that is a terminal, and the same value. */
Escapes forJsonOutput();

/** A string in JSON on a line of text. Only a terminal makes directions matter. */
Escapes forJsonLine();

/** A name on a line of text. */
Escapes forLine();

/** Text that is a terminal's whole output, with its own lines. */
constexpr Escapes forTerminal{false, false, false, true, true};

/** Writes text with escapes, in constant memory. */
void printEscaped(std::ostream& out, std::string_view text, Escapes escapes);

/** A value in JSON. */
std::string jsonText(Value const& value, Escapes escapes);

/** Whether a text is well-formed UTF-8. */
bool isUtf8(std::string_view text);

/** A number of things, such as "1 byte" and "2 bytes". */
std::string counted(std::size_t count, char const* one, char const* several);

/** Bytes in base64. */
std::string base64(std::string_view bytes);

QString toQString(std::string const& utf8);

/**
 * Prints a complaint on standard error, on one line. The middle of a very long one is left out: it begins with what
 * it is about, and ends with what is wrong.
 */
void complain(std::string const& message);

} // namespace tool
