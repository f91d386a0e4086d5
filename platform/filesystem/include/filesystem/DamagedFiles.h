// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "filesystem/Export.h"

/** The files that keep the content of a damaged register file, in the same directory. */
namespace filesystem {

class RealFileSystem;

/**
 * An unused name under which to keep the damaged file `name` of `disk`'s root directory, such as
 * "NAME.damaged-20261121T093000Z": it contains the time in UTC and, from the second file of a second on, a number. A
 * name is never older than those in use: after the clock has been set back, it has the time of the newest of them. Names
 * are UTF-8. If no unused name can be found, the result is ".", which no file can have.
 */
VELMORAND_FILESYSTEM_EXPORT std::string nameForDamaged(RealFileSystem const& disk, std::string const& name);

/** Whether `nameForDamaged` may have given the name `candidate` to the damaged file `name`. */
VELMORAND_FILESYSTEM_EXPORT bool isNameForDamaged(std::string_view candidate, std::string_view name);

/** Removes all files with such names from `disk`'s root directory, except the newest five. */
VELMORAND_FILESYSTEM_EXPORT void removeOldestDamaged(RealFileSystem& disk, std::string_view name);

} // namespace filesystem
