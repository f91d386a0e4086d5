// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

#include "filesystem/Export.h"

namespace filesystem {

/**
 * The directory part of a path: what stands before its last "/", empty when there is none.
 * "a/b/c" gives "a/b", "a/" gives "a", "/a" and "a" give "". Nothing is normalised. No locks.
 */
[[nodiscard]] VELMORAND_FILESYSTEM_EXPORT QString dirName(QString const& path);

} // namespace filesystem
