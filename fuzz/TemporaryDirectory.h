// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>

#include <unistd.h>

#include "support/TemporaryDirectory.h"

namespace fuzz {

/** A directory of this process's own, in memory where that can be had, removed at the end. */
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
