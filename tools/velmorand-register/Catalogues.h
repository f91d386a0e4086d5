// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "Declaration.h"

/** The catalogues on this machine, in which programs declare their settings. */
namespace tool {

/**
 * What the catalogues declare; of two declarations of one name, the first found. They are the files named *.json, in
 * the byte order of their names, in the directory velmorand/declared below $XDG_DATA_HOME and each of
 * $XDG_DATA_DIRS; or, if any are given, these files and the files in these directories.
 * Errors: `Failure` if a given catalogue is missing or invalid. An invalid catalogue that was found is reported on
 * standard error and left out.
 */
Declarations readCatalogues(std::vector<std::string> const& given);

/** The note to print when no catalogue declares anything. */
constexpr char const* nothingDeclared =
    "note: no catalogue declares any settings (catalogues are installed in velmorand/declared below "
    "$XDG_DATA_HOME and $XDG_DATA_DIRS; --catalogue PATH uses others instead)";

} // namespace tool
