// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Failure.h"

namespace tool {

/** What a file to read, or standard input ("-"), is called in messages. */
std::string titleOf(std::string const& source);

/** All bytes of a file, or of standard input ("-"). Errors: `Failure` when it cannot be read. */
std::string readAll(std::string const& source);

Failure noFile(std::string const& path, Status status);

} // namespace tool
