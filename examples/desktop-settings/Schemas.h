// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>

#include "Value.h"

namespace desktop {

/** What schema files hold. */
struct Schemas {
    /** Default values by name, as "org/gnome/desktop/interface/clock-format". */
    std::map<std::string, Value> settings;

    /** How many keys are of a type that the register has no kind for, by type. */
    std::map<std::string, int> leftOut;
};

/**
 * Reads the schema files of the desktop in a directory, those of other software left aside. Enumerations are
 * strings, flags lists of strings.
 * Errors: `std::runtime_error` for a file that cannot be read, a name given twice, and a directory with no
 * setting.
 */
Schemas readSchemas(std::string const& directory);

} // namespace desktop
