// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <cstdlib>
#include <thread>

#include "register/Lock.h"
#include "register/Text.h"
#include "utils/properties/Register.h"

namespace utils::properties {

namespace {

/**
 * Takes the lock during exit, just before the register is saved and destroyed, and never releases it: from then on,
 * other threads block in their operations until the process ends. The wait for the lock is bounded, because its holder
 * may never release it, and in a forked child may not even exist.
 */
void closeRegister() {
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    // Polled, because the lock has no timed operations.
    while (!_Register::_mutex->try_lock() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::microseconds(100));
}

} // namespace

// Initialised in this order when the library is loaded. The register is created later than the strings, so it is
// destroyed before them. The lock is never destroyed, so it can be taken at any time, even during exit.
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
    static _Register* const instance = [] {
        static _Register made;
        // Registered after the destructor of `made`, so that it runs just before it. If the registration fails for lack
        // of memory, the register is saved without it.
        static_cast<void>(std::atexit(closeRegister));
        return &made;
    }();
    return instance;
}

} // namespace utils::properties
