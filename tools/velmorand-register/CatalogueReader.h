// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Declaration.h"

namespace tool {

/**
 * The declarations in a catalogue, a JSON object in the format of docs/catalogue-format.md. `source` is the catalogue's
 * name in messages. Unknown members and formats are ignored.
 * Errors: `Failure` at the first invalid declaration, with its line and name.
 */
Declarations readCatalogue(std::string const& source, std::string const& text);

} // namespace tool
