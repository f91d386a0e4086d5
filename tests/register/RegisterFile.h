// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

#include "support/RegisterProbe.h"

inline constexpr char registerFileName[] = "Velmorand.dat";

/** The bytes of a file on disk. */
inline std::string fileBytes(std::filesystem::path const& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw std::runtime_error("cannot read " + file.string());
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

inline void writeFile(std::filesystem::path const& file, std::string const& bytes) {
    std::ofstream stream(file, std::ios::binary);
    stream << bytes;
    if (!stream.flush())
        throw std::runtime_error("cannot write " + file.string());
}

/** Saves a register file in `directory`, with the user scope that `fill` writes. */
template <class Fill>
void saveRegisterFile(std::string const& directory, Fill&& fill) {
    support::RegisterProbe settings;
    std::forward<Fill>(fill)(settings);
    support::RegisterProbe::_UserRegisterPath = directory;
    settings.save();
    support::RegisterProbe::_UserRegisterPath.clear();
}

/** Saves a register file in `directory` with one integer. */
inline void saveInteger(std::string const& directory, std::string const& name, int value) {
    saveRegisterFile(directory, [&](support::RegisterProbe& settings) {
        settings._writeInteger(nullptr, name, value, utils::properties::SCOPE_USER);
    });
}

/** A register that has loaded the user register file in `directory`, and does not save. */
inline std::unique_ptr<support::RegisterProbe> loadedFrom(std::string const& directory) {
    support::RegisterProbe::_UserRegisterPath = directory;
    auto settings = std::make_unique<support::RegisterProbe>();
    support::RegisterProbe::_UserRegisterPath.clear();
    return settings;
}

/** The integer that readers find under `name`. */
inline int integer(utils::properties::_Register& settings, std::string const& name) {
    int value = 0;
    settings._readInteger(name, value);
    return value;
}

/** The integer under `name` in the user register file in `directory`. */
inline int savedInteger(std::string const& directory, std::string const& name) {
    return integer(*loadedFrom(directory), name);
}
