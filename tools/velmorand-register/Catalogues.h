// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "Declaration.h"

/** The catalogues on this machine, in which programs declare their settings. */
namespace tool {

/**
 * What the catalogues declare; of two declarations of one name, the first found. They are the files named *.json, byte
 * by byte in the order of their names, in the directory velmorand/declared below $XDG_DATA_HOME and each of
 * $XDG_DATA_DIRS; or, if any are given, these files and the files in these directories.
 * Errors: `Failure` if one that is given is missing or invalid. Of the others, each that is invalid is reported on
 * standard error and left out.
 */
Declarations readCatalogues(std::vector<std::string> const& given);

/** A note for whoever asks for declarations where there are none. */
constexpr char const* nothingDeclared =
    "note: no settings are declared in velmorand/declared below $XDG_DATA_HOME and $XDG_DATA_DIRS "
    "(give a catalogue with --catalogue PATH)";

} // namespace tool
