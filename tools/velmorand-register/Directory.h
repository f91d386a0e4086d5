// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>

namespace tool {

/**
 * Makes a directory and those around it that are missing, for the user alone (mode 0700), and durable: a power cut
 * afterwards does not take them away. One that is there already is left as it is.
 * Errors: `Failure`; what was made up to there stays.
 */
void makeDirectories(std::string const& path);

/**
 * Keeps other instances of this program from changing the files of a directory, for as long as it lives.
 * Applications do not take part: their saves are not held up. Where directories cannot be locked it does nothing.
 */
class EditLock {
public:
    /** Waits for another process to give the lock back. Errors: `Failure` when that takes longer than `patience`. */
    EditLock(std::string const& directory, std::chrono::seconds patience);
    EditLock(EditLock const&) = delete;
    EditLock& operator=(EditLock const&) = delete;
    ~EditLock();

private:
    int _directory;
};

} // namespace tool
