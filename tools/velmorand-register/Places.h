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

/** Where the register files are, which of them a command is about, and how long it waits to change one. */
struct Places {
    std::optional<std::string> globalDirectory;
    std::optional<std::string> userDirectory;
    std::optional<Scope> scope;
    std::chrono::seconds patience{5};
    std::vector<std::string> catalogues; ///< in place of those that are installed
};

/** A register directory. One that was named must be there; the user's own need not. */
struct Directory {
    std::string path;
    bool isNamed;
};

RegisterFile fileIn(Directory const& directory);

/** A file that was named; a directory stands for the register file in it. */
RegisterFile fileAt(std::string const& path);

/** The directory of the user's or the global scope. Errors: `Failure` if it is not given, or not a directory. */
Directory directoryOf(Places const& places, Scope scope);

/** The directory of the one register file that a command is about: the user's, unless a scope is given. */
Directory theDirectory(Places const& places);

struct ScopedFile {
    char const* scope;
    RegisterFile file;
};

/** The register files that readers look into, at most two, in their order; or that of the scope that is given. */
std::vector<ScopedFile> filesToRead(Places const& places);

/** The settings of a scope. */
struct ScopedSettings {
    char const* scope = "";
    Settings settings;
};

/** What these files hold, a missing one nothing. */
std::array<ScopedSettings, 2> settingsToRead(Places const& places);

/** Why a name does not lead to a group: it does not exist, or is a property. */
Failure noGroup(std::string const& name, bool isProperty);

} // namespace tool
