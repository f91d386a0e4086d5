// SPDX-License-Identifier: Apache-2.0
#include <filesystem/Path.h>
#include <filesystem/RealFileSystem.h>

#include "register/Text.h"
#include "utils/properties/Register.h"

bool _test_register_path(std::string const& root, std::string const& file) {
    using utils::properties::toQString;

    filesystem::RealFileSystem disk(toQString(root));
    QString const path = toQString(file);
    if (disk.exists(path))
        return true;
    QString const directory = filesystem::dirName(path);
    return directory.isEmpty() || disk.exists(directory) || disk.mkdir(directory);
}

namespace utils::properties {

bool _Register::_test_register_file(std::string const& root) {
    return _test_register_path(root, _VL_REGISTER_NAME);
}

void _Register::initialize(std::string const& globalPath, std::string const& userPath) {
    _haveGlobalRegister = _test_register_file(globalPath);
    _GlobalRegisterPath = globalPath;
    if (!_test_register_file(userPath))
        throw Exception("User register not found");
    _UserRegisterPath = userPath;

    // Intentional: each write is followed by a save, although the temporary scope is never saved.
    _Register* const instance = getInstance();
    instance->_writeString(nullptr, "UserDataPath", userPath, SCOPE_TEMPORARY);
    instance->save();
    instance->_writeString(nullptr, "GlobalDataPath", globalPath, SCOPE_TEMPORARY);
    instance->save();
}

} // namespace utils::properties
