// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace velmorand::live {

/** The register file's name in both directories. */
constexpr char const* fileName = "Velmorand.dat";

/** Beside the user's file: the one before the last save. */
constexpr char const* previousFileName = "Velmorand.dat.previous";

/**
 * The directory of the user's settings, made if it is missing. `given` counts unless it is empty.
 * Errors: `utils::Exception` if it cannot be made, or nobody says where it is.
 */
[[nodiscard]] std::string openUserDirectory(std::string const& given);

/** The directory of the administrator's settings; it need not exist. `given` counts unless it is empty. */
[[nodiscard]] std::string findGlobalDirectory(std::string const& given);

} // namespace velmorand::live
