// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Declaration.h"

namespace tool {

/**
 * The declarations in a catalogue, docs/catalogue-format.md: one JSON object. `source` is its name in messages. Members
 * and formats that this version does not know are ignored.
 * Errors: `Failure` at the first declaration that is wrong, with its line and its name.
 */
Declarations readCatalogue(std::string const& source, std::string const& text);

} // namespace tool
