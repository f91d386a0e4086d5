// SPDX-License-Identifier: Apache-2.0
#include <filesystem/RealFileSystem.h>

#include "register/Text.h"
#include "utils/properties/Register.h"

namespace utils::properties {

namespace {

constexpr char const* globalScope = "/global/";
constexpr char const* userScope = "/user/";

/**
 * Reads the register file `name` in a real directory into a scope; a missing file leaves the scope unchanged.
 * If reading throws, the handle stays open and is released with its file system.
 */
void loadScope(_Register& target, char const* scope, std::string const& directory, std::string const& name) {
    filesystem::RealFileSystem disk(toQString(directory));
    if (!disk.exists(toQString(name)))
        return;
    filesystem::FileHandle* handle = nullptr;
    if (!disk.open(toQString(name), &handle, filesystem::FileSystem::MODE_READ))
        throw Exception("Can't open " + directory + "/" + name);
    target.unserialize(fromLiteral(scope), *handle);
    disk.close(handle);
}

} // namespace

void _Register::load() {
    if (_haveGlobalRegister)
        loadScope(*this, globalScope, _GlobalRegisterPath, _VL_REGISTER_NAME);
    loadScope(*this, userScope, _UserRegisterPath, _VL_REGISTER_NAME);
}

void _Register::save() const {
    filesystem::RealFileSystem disk(toQString(_UserRegisterPath));
    filesystem::FileHandle* handle = nullptr;
    if (!disk.open(toQString(_VL_REGISTER_NAME), &handle, filesystem::FileSystem::MODE_WRITE))
        return; // Intentional: a save reports no failure.
    // If a write has failed, closing fails as well and leaves the file unchanged.
    serialize(fromLiteral(userScope), *handle);
    disk.close(handle);
}

} // namespace utils::properties
