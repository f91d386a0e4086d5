// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>
#include <string>

#include "Entry.h"

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
 * is given in base64, as "base64" in place of "value"; for "strings" all elements then are. Where a value does
 * not say all of a property's bytes, they stand beside it in base64, as "record"; bytes that are no value are
 * {"type": "bytes", "base64": ...}. So every register file comes back byte for byte.
 */
namespace tool {

/** Writes entries in the exchange format. */
void exportEntries(Entries const& entries, std::ostream& out);

/**
 * Writes what `text` holds into the settings.
 * Errors: `Failure` at the first entry that is wrong, with `source`, its line and its name; the settings are
 * then half changed, and are not to be saved.
 */
void importEntries(std::string const& source, std::string const& text);

} // namespace tool
