// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Failure.h"

namespace tool {

/** The name of a file to read, or of standard input ("-"), in messages. */
std::string titleOf(std::string const& source);

/** All bytes of a file, or of standard input ("-"). Errors: `Failure` if it cannot be read. */
std::string readAll(std::string const& source);

/** The failure for a missing file. */
Failure noFile(std::string const& path, Status status);

} // namespace tool
