// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>
#include <string>

#include "Settings.h"

/**
 * The exchange format: one JSON object, an entry a line, sorted by name.
 *
 *     {
 *       "a/b/x": {"type": "integer", "value": 42},
 *       "a/empty": {"type": "group"},
 *       "a/l": {"type": "strings", "value": ["p", "q"]}
 *     }
 *
 * The types are the kinds' names. A number that JSON lacks is "nan", "inf" or "-inf". Text that is not UTF-8
 * is given in base64, as "base64" in place of "value"; in "strings" all elements are then. Where a value does
 * not give all of a property's bytes, they follow in base64, as "record"; bytes that are not a value are
 * {"type": "bytes", "base64": ...}. So every register file comes back byte for byte.
 */
namespace tool {

/** Writes the settings in a group in the exchange format, under their full names. */
void exportSettings(Settings const& settings, std::string const& group, std::ostream& out);

/**
 * Adds to settings what `text` holds.
 * Errors: `Failure` at the first entry that is wrong, with `source`, its line and its name; some of the settings
 * have changed then.
 */
void importSettings(std::string const& source, std::string const& text, Settings& settings);

} // namespace tool
