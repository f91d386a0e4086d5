// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace velmorand::live {

/** The register file's name in both directories. */
constexpr char const* fileName = "Velmorand.dat";

/** The previous version of the user's file, in the same directory. */
constexpr char const* previousFileName = "Velmorand.dat.previous";

/**
 * The directory of the user's settings: `given` or, if that is empty, the standard one. Created if it is missing.
 * Errors: `utils::Exception` if it cannot be created, or the environment does not determine it.
 */
[[nodiscard]] std::string openUserDirectory(std::string const& given);

/** The directory of the administrator's settings: `given` or, if that is empty, the standard one. It need not exist. */
[[nodiscard]] std::string findGlobalDirectory(std::string const& given);

} // namespace velmorand::live
