// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Entry.h"

namespace tool {

/** The register file's name in a register directory. */
constexpr char const* registerFileName = "Velmorand.dat";

/** What a register file was found to be. */
struct Loaded {
    bool isThere;
    long bytesBehind; ///< how many follow the settings; the register never reads them, nor saves any
};

/** A register file on disk, and the way between it and the settings. */
class RegisterFile {
public:
    /** Nothing is touched. Errors: `Failure` for a path that is not UTF-8. */
    explicit RegisterFile(std::string const& path);

    [[nodiscard]] std::string const& path() const noexcept { return _path; }
    [[nodiscard]] std::string const& directory() const noexcept { return _directory; }
    [[nodiscard]] std::string const& name() const noexcept { return _name; }

    /**
     * Reads the file into the settings, in place of what they held; a missing file leaves them empty.
     * Errors: `Failure` when it cannot be read, or is no whole register file.
     */
    Loaded load() const; // NOLINT(modernize-use-nodiscard): a missing file is often as good as an empty one

    /** What `load` reads, as entries. */
    [[nodiscard]] Entries entries() const;

    /** Replaces the file by the settings, in one step. Errors: `Failure`; the file is as it was. */
    void save() const;

private:
    [[nodiscard]] std::string refusal(int error) const;

    std::string _path;
    std::string _directory;
    std::string _name;
};

/**
 * Keeps other instances of this program from editing the files of a directory, by waiting for them. What
 * applications save meanwhile is not held up. Where directories cannot be locked it goes on without.
 */
class EditLock {
public:
    explicit EditLock(std::string const& directory);
    EditLock(EditLock const&) = delete;
    EditLock& operator=(EditLock const&) = delete;
    ~EditLock();

private:
    int _directory;
};

} // namespace tool
