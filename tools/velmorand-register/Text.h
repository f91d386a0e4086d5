// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <QString>

#include "Entry.h"

/** Values and names as people read and write them. */
namespace tool {

/**
 * The value of a kind that texts, one for each element, say.
 * Errors: `Failure` when there is no such kind, when a text is none of it, or when there are too few or too
 * many.
 */
Value parseValue(std::string const& kind, std::vector<std::string> const& texts);

/** The elements of a value, each as `parseValue` takes it; a single value has one. */
std::vector<std::string> elementTexts(Value const& value);

QString toQString(std::string const& utf8);

/** Whether a text is well-formed UTF-8. */
bool isUtf8(std::string const& text);

/** Bytes in base64. */
std::string base64(std::string const& bytes);

/** A value in JSON, on one line; text that is not UTF-8 is shown with "\ufffd" in its place. */
std::string jsonText(Value const& value);

/** As `jsonText`, for a terminal: every control character is an escape. */
std::string jsonShown(Value const& value);

/** Text for one line of a terminal: what would not stay in it, or is no UTF-8, as escapes. */
std::string shown(std::string const& text);

/**
 * Prints a complaint on standard error, on one line. One that repeats a long text leaves out its middle: what it is
 * about begins it, and what is wrong ends it.
 */
void complain(std::string const& message);

} // namespace tool
