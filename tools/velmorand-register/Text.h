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
 * Which characters are written as JSON escapes. Control characters below U+0020, other than line feeds and tabs, always
 * are. Invalid UTF-8 is always written as U+FFFD.
 */
struct Escapes {
    bool quotes;      ///< '"'
    bool backslashes; ///< '\'
    bool lineBreaks;  ///< line feeds and tabs
    bool controls;    ///< DEL and U+0080 to U+009F, which terminals interpret
    bool
        directions; ///< U+061C, U+200E, U+200F, U+202A to U+202E, U+2066 to U+2069, which reorder the text around them
};

/** A JSON string for programs: only the escapes that JSON demands. */
constexpr Escapes forJson{true, true, true, false, false};

/** A JSON string for standard output: all escapes on a terminal, otherwise only those that JSON demands. */
Escapes forJsonOutput();

/** A JSON string within a line of text. Characters that reorder text are escaped only on a terminal. */
Escapes forJsonLine();

/** A name within a line of text. */
Escapes forLine();

/** Text that is printed on a terminal and may have several lines. */
constexpr Escapes forTerminal{false, false, false, true, true};

/** Writes text with escapes, in constant memory. */
void printEscaped(std::ostream& out, std::string_view text, Escapes escapes);

/** A value in JSON. */
std::string jsonText(Value const& value, Escapes escapes);

/** Whether a text is well-formed UTF-8. */
bool isUtf8(std::string_view text);

/** A count with its noun, such as "1 byte" or "2 bytes". */
std::string counted(std::size_t count, char const* one, char const* several);

/** The message about an element of a list; `number` counts from 1. */
std::string inElement(std::size_t number, std::string const& message);

/** Bytes in base64. */
std::string base64(std::string_view bytes);

QString toQString(std::string const& utf8);

/**
 * Prints a diagnostic on standard error, on one line. If it is very long, the middle is left out, because the subject
 * is at the beginning and the reason at the end.
 */
void complain(std::string const& message);

} // namespace tool
