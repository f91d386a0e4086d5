// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "Failure.h"
#include "RegisterFile.h"

namespace tool {

enum class Scope { user, global, temporary };

/** The options that all commands share: where the files are, which scope to use, and how long to wait for a lock. */
struct Places {
    std::optional<std::string> globalDirectory;
    std::optional<std::string> userDirectory;
    std::optional<Scope> scope;
    std::chrono::seconds patience{5};
    std::vector<std::string> catalogues; ///< instead of the installed ones
};

/** A register directory. */
struct Directory {
    std::string path;
    bool isNamed;        ///< whether the command line names it: then it must exist
    std::string options; ///< for messages: the options that select it, each after a space
};

/**
 * Whether a directory exists at a path. Unlike `std::filesystem::is_directory`, also works on 32-bit machines if the
 * directory is dated after 2038.
 */
bool isDirectory(std::string const& path);

/** The register file in a directory. If it is damaged, the message names the command that lists its copies. */
RegisterFile fileIn(Directory const& directory);

/** The register file at a path, or in the directory at that path. */
RegisterFile fileAt(std::string const& path);

/** The directory of the user's or the global scope. Errors: `Failure` if it is unknown or not a directory. */
Directory directoryOf(Places const& places, Scope scope);

/** The directory for a command that uses one scope: the user's, unless another scope is given. */
Directory theDirectory(Places const& places);

struct ScopedFile {
    char const* scope;
    RegisterFile file;
};

/**
 * The register files to read, at most two, in the order in which readers search them; if a scope is given, only its
 * file.
 */
std::vector<ScopedFile> filesToRead(Places const& places);

/** The settings of a scope. */
struct ScopedSettings {
    char const* scope = "";
    Settings settings;
};

/** The settings in the files of `filesToRead`; a missing file has none. */
std::array<ScopedSettings, 2> settingsToRead(Places const& places);

/** The failure for a name that is not a group: it does not exist, or is a property. */
Failure noGroup(std::string const& name, bool isProperty);

} // namespace tool
