// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "Value.h"

namespace desktop {

/** A change of a setting, with its author. */
struct Change {
    std::string by;
    std::string scope; ///< "user" or "global"
    std::string name;
    Value value;
};

/**
 * Parses `text` as a value of a schema's `type`, as `parseVariant` does.
 * Errors: `std::runtime_error` if a setting cannot have the type, or if the text is not a value of the type.
 */
Value valueOf(std::string const& type, std::string const& text);

/**
 * Reads a list of changes in the order in which they were made, one per line: BY SCOPE TYPE NAME VALUE.
 * Errors: `std::runtime_error` if the file cannot be read or a line has another form.
 */
std::vector<Change> readChanges(std::string const& file);

} // namespace desktop
