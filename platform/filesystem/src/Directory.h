// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Descriptor.h"

namespace filesystem {

/**
 * Opens the directory at `path`, relative to the directory `base` or to AT_FDCWD, for reading; `flags` add to the
 * usual ones.
 */
[[nodiscard]] Descriptor openDirectory(int base, std::string const& path, int flags = 0);

/**
 * Opens a directory as the base of calls that name what is in it. It need not be readable; when it is not,
 * `fsync` of the result fails with EBADF.
 */
[[nodiscard]] Descriptor openBase(int base, std::string const& path);

/**
 * The names in an open directory, in the system's order, without "." and ".."; `nullopt` when they cannot be
 * read.
 */
[[nodiscard]] std::optional<std::vector<std::string>> entryNames(int directory);

/**
 * Removes the file, the symbolic link or the directory with all that is in it at `path`. Follows no symbolic
 * link and does not recurse. False when something is left; it stops at the first entry that cannot be
 * removed.
 */
bool removeTree(std::string const& path);

} // namespace filesystem
