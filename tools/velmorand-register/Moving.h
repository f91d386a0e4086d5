// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

namespace tool {

/** The arguments of an import from another store. */
struct Moving {
    std::string file;               ///< "-" for standard input
    std::optional<std::string> map; ///< the file with the rules
    bool isOverwriting = false;     ///< replace other values under the new names
    bool isForced = false;          ///< also set locked settings, and values that are not as declared
    bool isDryRun = false;          ///< write nothing
};

} // namespace tool
