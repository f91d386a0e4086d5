// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

namespace tool {

/** What to import from another store, and how. */
struct Moving {
    std::string file;               ///< "-": standard input
    std::optional<std::string> map; ///< the file with the rules
    bool isOverwriting = false;     ///< other values under the new names are replaced
    bool isForced = false;          ///< even what is locked, or not as declared
    bool isDryRun = false;          ///< nothing is written
};

} // namespace tool
