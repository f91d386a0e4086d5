// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "velmorand/AnyValue.h"
#include "velmorand/Import.h"

/**
 * Readers for other stores.
 * Errors: `utils::Exception` with the reason, without the path; for an invalid line it begins with "line 3: ".
 */
namespace velmorand::import {

/** A setting in another store. */
struct Found {
    std::vector<std::string> path; ///< its levels, the outermost first; a level may be any text
    std::optional<AnyValue> value; ///< of its natural kind; empty if there is a problem
    std::optional<std::vector<std::string>>
        list{}; ///< the elements, if the store can read the value as a list
    std::string problem{};
};

/** Whether a source is a directory of the user's dconf database, not a file. */
[[nodiscard]] inline bool isDatabaseDirectory(ImportSource const& source) {
    std::string const& path = source.path;
    return source.store == Store::dconf && !path.empty() && path.front() == '/' && path.back() == '/';
}

/** The content of a regular file. Refuses files that are not UTF-8 text. */
[[nodiscard]] std::string readText(std::string const& path);

/** Likewise; also refuses files that begin with a byte order mark, which most stores take as part of the first line. */
[[nodiscard]] std::string readUnmarkedText(std::string const& path);

[[nodiscard]] std::vector<Found> readIni(std::string const& path);
[[nodiscard]] std::vector<Found> readJson(std::string const& path);

/** Reads a store with the program import-NAME, which is installed with this library. */
[[nodiscard]] std::vector<Found> readByProgram(std::string const& name, std::string const& path);

} // namespace velmorand::import
