// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tree.h"
#include "filesystem/RAMFileSystem.h"

namespace filesystem {

/** Gives access to a file system's tree, for the parts of this library that work on it directly. */
struct DirectAccess {
    static Tree const& tree(RAMFileSystem const& fileSystem) { return *fileSystem._tree; }
    static Tree& tree(RAMFileSystem& fileSystem) { return *fileSystem._tree; }

    /** For listing directories, which may sort their children but changes no entry. */
    static Tree& treeToList(RAMFileSystem const& fileSystem) { return *fileSystem._tree; }
};

} // namespace filesystem
