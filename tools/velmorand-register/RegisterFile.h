// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Settings.h"

namespace tool {

/** The register file's name in a register directory. */
constexpr char const* registerFileName = "Velmorand.dat";

/** What the name of the file before the last save adds to that of a register file. */
constexpr char const* previousEnding = ".previous";

/** What a register file was found to be. */
struct Loaded {
    bool isThere;
    long bytesAfter; ///< how many follow the settings; applications never read them
};

/** A register file on disk. */
class RegisterFile {
public:
    /** Nothing is touched. Errors: `Failure` for a path that is not UTF-8. */
    explicit RegisterFile(std::string const& path);

    [[nodiscard]] std::string const& path() const noexcept { return _path; }
    [[nodiscard]] std::string const& directory() const noexcept { return _directory; }
    [[nodiscard]] std::string const& name() const noexcept { return _name; }

    /**
     * Replaces settings by what the file holds; a missing file leaves them empty.
     * Errors: `Failure` when it cannot be read, or is not a whole register file; the settings are as they were.
     */
    Loaded
    load(Settings& settings) const; // NOLINT(modernize-use-nodiscard): missing is often as good as empty

    /**
     * Replaces the file by settings, in one step, and keeps the old one, if there is one, as the previous file, in
     * place of the one before. Errors: `Failure`; the file is as it was.
     */
    void save(Settings const& settings) const;

private:
    [[nodiscard]] std::string refusal(int error) const;

    std::string _path;
    std::string _directory;
    std::string _name;
};

} // namespace tool
