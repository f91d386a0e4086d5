// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>
#include <string>

#include "Settings.h"

/**
 * The exchange format: one JSON object, one entry per line, sorted by name.
 *
 *     {
 *       "a/b/x": {"type": "integer", "value": 42},
 *       "a/empty": {"type": "group"},
 *       "a/l": {"type": "strings", "value": ["p", "q"]}
 *     }
 *
 * The types are the names of the kinds. Numbers that JSON cannot represent are "nan", "inf" and "-inf". Text that is
 * not UTF-8 is in base64, as "base64" instead of "value"; if this is necessary for one element of a list, it applies to
 * all of them. If the value alone does not determine all bytes of the property, "record" has them in base64. Bytes that
 * are not a value are {"type": "bytes", "base64": ...}. So an export followed by an import gives the same register
 * file, byte for byte.
 */
namespace tool {

/** Writes the settings in a group, with their full names. */
void exportSettings(Settings const& settings, std::string const& group, std::ostream& out);

/**
 * Whether a JSON text is an object all of whose members, at least one, are entries of the exchange format. Their values
 * are not checked. False for text that is not JSON. Memory: in proportion to the text.
 */
bool isExchange(std::string const& text);

/**
 * Sets everything in `text`. `source` is its name in messages.
 * Errors: `Failure` at the first invalid entry, with its line and name; the entries before it have been set.
 */
void importSettings(std::string const& source, std::string const& text, Settings& settings);

} // namespace tool
