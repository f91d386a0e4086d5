// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace filesystem {

class RAMFileSystem;

/**
 * The live in-memory file systems, and the functions to call when they are destroyed. One list per process; never
 * destroyed, because file systems may be destroyed at any time during exit.
 */
namespace lifetimes {

/** Errors: `std::bad_alloc`; nothing has changed. */
void begin(RAMFileSystem const* fileSystem);

/** Removes a file system from the list, then calls the functions registered for it. */
void end(RAMFileSystem const* fileSystem) noexcept;

} // namespace lifetimes

} // namespace filesystem
