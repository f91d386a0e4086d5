// SPDX-License-Identifier: Apache-2.0
#include "register/Lock.h"
#include "register/Text.h"
#include "utils/properties/Register.h"

namespace utils::properties {

// Made in this order when the library is loaded. The strings are destroyed after the register, whose
// destruction is registered later; the lock never is, so that it can be taken at any moment of the process,
// exit included.
std::string _Register::_VL_REGISTER_NAME = "Velmorand.dat";
boost::recursive_mutex* _Register::_mutex = new boost::recursive_mutex;
std::string _Register::_TempRegisterPath = "/temp/";
std::string _Register::_GlobalRegisterPath;
std::string _Register::_UserRegisterPath;
bool _Register::_haveGlobalRegister;

_Register::_Register() {
    RAMFileSystem::mkdir(fromLiteral("/global"));
    RAMFileSystem::mkdir(fromLiteral("/user/"));
    RAMFileSystem::mkdir(fromLiteral("/temp/"));
    load();
}

_Register::~_Register() noexcept(false) {
    save();
}

_Register* _Register::getInstance() {
    Lock const lock(*_mutex);
    static _Register instance;
    return &instance;
}

} // namespace utils::properties
