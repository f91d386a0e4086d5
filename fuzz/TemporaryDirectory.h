// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include <unistd.h>

#include "Check.h"

namespace fuzz {

/** A directory of this process's own, in memory where that can be had, removed at the end. */
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::filesystem::path const memory = "/dev/shm";
        std::filesystem::path const home =
            ::access(memory.c_str(), W_OK) == 0 ? memory : std::filesystem::temp_directory_path();
        std::string pattern = (home / "velmorand-fuzz-XXXXXX").string();
        check(::mkdtemp(pattern.data()) != nullptr, "a temporary directory can be made");
        _path = pattern;
    }
    TemporaryDirectory(TemporaryDirectory const&) = delete;
    TemporaryDirectory& operator=(TemporaryDirectory const&) = delete;
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }

    [[nodiscard]] std::filesystem::path const& path() const { return _path; }

private:
    std::filesystem::path _path;
};

} // namespace fuzz
