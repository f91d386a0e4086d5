// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

#include "filesystem/Export.h"

namespace filesystem {

/**
 * The directory part of a path: the text before its last "/", or empty if there is none. "a/b/c" gives "a/b", "a/"
 * gives "a", "/a" and "a" give "". Nothing is normalised. Locks: none.
 */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT QString dirName(QString const& path);

} // namespace filesystem
