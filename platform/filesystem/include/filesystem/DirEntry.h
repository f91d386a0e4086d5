// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

#include "filesystem/Export.h"

namespace filesystem {

/** One entry of a directory listing: the bare name of a file or a subdirectory. Ordered by its name. */
struct DirEntry {
    QString name;
};

inline bool operator<(DirEntry const& left, DirEntry const& right) {
    return left.name < right.name;
}
inline bool operator==(DirEntry const& left, DirEntry const& right) {
    return left.name == right.name;
}
inline bool operator!=(DirEntry const& left, DirEntry const& right) {
    return !(left == right);
}

} // namespace filesystem
