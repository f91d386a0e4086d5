// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace filesystem {

class RAMFileSystem;

/**
 * The file systems in memory that are alive, with the functions to call at their end. One list for the
 * process; it is never destroyed, so it serves file systems that end while the process exits.
 */
namespace lifetimes {

/** Errors: `std::bad_alloc`; nothing has changed. */
void begin(RAMFileSystem const* fileSystem);

/** Takes a file system off the list, then calls what was registered for it. */
void end(RAMFileSystem const* fileSystem) noexcept;

} // namespace lifetimes

} // namespace filesystem
