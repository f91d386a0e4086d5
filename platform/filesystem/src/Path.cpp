// SPDX-License-Identifier: Apache-2.0
#include "filesystem/Path.h"

namespace filesystem {

QString dirName(QString const& path) {
    auto const slash = path.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? QString() : path.left(slash);
}

} // namespace filesystem
