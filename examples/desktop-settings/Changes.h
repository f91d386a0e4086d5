// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "Value.h"

namespace desktop {

/** A change of a setting, and who made it. */
struct Change {
    std::string by;
    std::string scope; ///< "user" or "global"
    std::string name;
    Value value;
};

/**
 * The value that `text` holds for a schema's `type`, as `parseVariant` reads it.
 * Errors: `std::runtime_error` if no setting can have the type, or if the text is not a value of it.
 */
Value valueOf(std::string const& type, std::string const& text);

/**
 * Reads a list of changes in the order in which they were made, one a line: BY SCOPE TYPE NAME VALUE.
 * Errors: `std::runtime_error` if the file cannot be read, or for a line of another form.
 */
std::vector<Change> readChanges(std::string const& file);

} // namespace desktop
