// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>

#include "Value.h"

namespace desktop {

/** The contents of schema files. */
struct Schemas {
    /** Default values by name, as "org/gnome/desktop/interface/clock-format". */
    std::map<std::string, Value> settings;

    /** The number of keys of each type that the register does not support. */
    std::map<std::string, int> leftOut;
};

/**
 * Reads the desktop's schema files in a directory, and ignores those of other software. Enumerations become
 * strings, flags become lists of strings.
 * Errors: `std::runtime_error` for a file that cannot be read, a duplicate name, and a directory without
 * settings.
 */
Schemas readSchemas(std::string const& directory);

} // namespace desktop
