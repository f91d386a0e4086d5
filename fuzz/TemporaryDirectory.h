// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>

#include <unistd.h>

#include "support/TemporaryDirectory.h"

namespace fuzz {

/** A temporary directory, in memory if possible, removed at the end. */
class TemporaryDirectory : public support::TemporaryDirectory {
public:
    TemporaryDirectory() : support::TemporaryDirectory(home()) {}

private:
    static std::filesystem::path home() {
        std::filesystem::path const memory = "/dev/shm";
        return ::access(memory.c_str(), W_OK) == 0 ? memory : std::filesystem::temp_directory_path();
    }
};

} // namespace fuzz
