// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Descriptor.h"

namespace filesystem {

/** Opens the directory at `path`, relative to the directory `base` or AT_FDCWD, for reading; `flags` are added. */
[[nodiscard]] Descriptor openDirectory(int base, std::string const& path, int flags = 0);

/**
 * Opens a directory as the base for calls that name entries in it. It need not be readable; if it is not, `fsync` of
 * the result fails with EBADF.
 */
[[nodiscard]] Descriptor openBase(int base, std::string const& path);

/** The names in an open directory, in the system's order, without "." and ".."; `nullopt` if it cannot be read. */
[[nodiscard]] std::optional<std::vector<std::string>> entryNames(int directory);

/**
 * Removes the file, the symbolic link, or the directory and everything in it at `path`. Does not follow symbolic links
 * and does not recurse. Stops at the first entry that cannot be removed, and returns false.
 */
bool removeTree(std::string const& path);

} // namespace filesystem
