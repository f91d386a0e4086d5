// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tool.h"

namespace tool {

/** A catalogue that declares settings, given as the members of a JSON object. */
std::string catalogueOf(std::string const& settings);

/** The tool with a catalogue of settings of every kind in the user's data directory. */
class Declared : public Tool {
protected:
    Declared();

    /** Replaces the catalogue in the user's data directory. */
    void declare(std::string const& settings) const;

    std::string installed = at(".local/share/velmorand/declared");
};

} // namespace tool
