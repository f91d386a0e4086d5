// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "Declaration.h"

/** The catalogues in which programs declare their settings. */
namespace tool {

/**
 * The declarations in all catalogues; if a name is declared more than once, the first declaration counts. Reads the
 * files named *.json from the directory velmorand/declared below $XDG_DATA_HOME and then below each directory in
 * $XDG_DATA_DIRS; within a directory, in byte order of their names. If `given` is not empty, reads the files in it, and
 * the *.json files in the directories in it, instead.
 * Errors: `Failure` if a given catalogue is missing or invalid. An installed catalogue that is invalid is skipped, with
 * a warning on standard error.
 */
Declarations readCatalogues(std::vector<std::string> const& given);

/** The note to print if no catalogue declares anything. */
constexpr char const* nothingDeclared =
    "note: no catalogue declares any settings (catalogues are installed in velmorand/declared below "
    "$XDG_DATA_HOME and $XDG_DATA_DIRS; --catalogue PATH uses others instead)";

} // namespace tool
