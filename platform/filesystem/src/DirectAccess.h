// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tree.h"
#include "filesystem/RAMFileSystem.h"

namespace filesystem {

/** Gives other parts of this library access to a file system's tree. */
struct DirectAccess {
    static Tree const& tree(RAMFileSystem const& fileSystem) { return *fileSystem._tree; }
    static Tree& tree(RAMFileSystem& fileSystem) { return *fileSystem._tree; }

    /** For listing directories: listing may sort the children of a directory, but does not change any entry. */
    static Tree& treeToList(RAMFileSystem const& fileSystem) { return *fileSystem._tree; }
};

} // namespace filesystem
