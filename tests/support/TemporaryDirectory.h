// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace support {

/** A new, empty temporary directory. The destructor removes it with its contents. */
class TemporaryDirectory {
public:
    explicit TemporaryDirectory(
        std::filesystem::path const& parent = std::filesystem::temp_directory_path()) {
        std::string pattern = (parent / "velmorand-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("cannot create a temporary directory at " + pattern);
        _path = pattern;
    }
    TemporaryDirectory(TemporaryDirectory const&) = delete;
    TemporaryDirectory& operator=(TemporaryDirectory const&) = delete;
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }

    [[nodiscard]] std::filesystem::path const& path() const { return _path; }
    [[nodiscard]] std::string string() const { return _path.string(); }
    [[nodiscard]] std::filesystem::path operator/(std::string const& name) const { return _path / name; }

private:
    std::filesystem::path _path;
};

} // namespace support
