// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tree.h"
#include "filesystem/RAMFileSystem.h"

namespace filesystem {

/** Gives other parts of this library access to a file system's tree. */
struct DirectAccess {
    static Tree const& tree(RAMFileSystem const& fileSystem) { return *fileSystem._tree; }
    static Tree& tree(RAMFileSystem& fileSystem) { return *fileSystem._tree; }

    /** For listing directories, which may sort their children but changes no entry. */
    static Tree& treeToList(RAMFileSystem const& fileSystem) { return *fileSystem._tree; }
};

} // namespace filesystem
