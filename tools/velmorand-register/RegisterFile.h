// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Failure.h"
#include "Settings.h"

namespace tool {

/** The register file's name in a register directory. */
constexpr char const* registerFileName = "Velmorand.dat";

/** The suffix of the previous file, the register file before the last save. */
constexpr char const* previousEnding = ".previous";

/** The result of loading a register file. */
struct Loaded {
    bool isThere;
    long bytesAfter; ///< the number of bytes after the settings; applications never read these
};

/** Thrown if the content of a register file is invalid, or has a later format. */
class Damage : public Failure {
public:
    explicit Damage(std::string const& message) : Failure(Status::fileTrouble, message) {}
};

/** A register file on disk. */
class RegisterFile {
public:
    /**
     * Does not access the disk. `hint` is added to the message if the file is damaged.
     * Errors: `Failure` for a path that is not UTF-8.
     */
    explicit RegisterFile(std::string const& path, std::string hint = {});

    [[nodiscard]] std::string const& path() const noexcept { return _path; }
    [[nodiscard]] std::string const& directory() const noexcept { return _directory; }
    [[nodiscard]] std::string const& name() const noexcept { return _name; }

    /**
     * Replaces `settings` with those in the file; a missing file leaves them empty.
     * Errors: `Damage`; another `Failure` if it cannot be read. The settings are unchanged then.
     */
    Loaded
    load(Settings& settings) const; // NOLINT(modernize-use-nodiscard): some callers treat missing as empty

    /**
     * Replaces the file atomically, and keeps the old one, if it exists, as the previous file.
     * Errors: `Failure`. The file is then unchanged, unless only the last step failed: making the replacement durable.
     */
    void save(Settings const& settings) const;

private:
    [[nodiscard]] std::string refusal(int error) const;

    std::string _path;
    std::string _directory;
    std::string _name;
    std::string _hint;
};

} // namespace tool
