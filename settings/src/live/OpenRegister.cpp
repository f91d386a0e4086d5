// SPDX-License-Identifier: Apache-2.0
#include "OpenRegister.h"

#include <utility>

#include <filesystem/Lifetime.h>
#include <utils/Exception.h>

#include "../Access.h"
#include "Memory.h"

namespace velmorand::live {

namespace {

using utils::properties::_Register;

/** The paths from which the register loads and to which it saves. */
class Paths : _Register {
public:
    Paths() = delete;

    struct Values {
        bool haveGlobal;
        std::string global;
        std::string user;
    };

    static Values clear() { return exchange({false, {}, {}}); }
    static void putBack(Values values) { exchange(std::move(values)); }

private:
    static Values exchange(Values values) {
        return {std::exchange(_haveGlobalRegister, values.haveGlobal),
                std::exchange(_GlobalRegisterPath, std::move(values.global)),
                std::exchange(_UserRegisterPath, std::move(values.user))};
    }
};

bool wasOpenedHere = false; // guarded by the register's lock

/** Creates the register, which must not exist yet. The lock is held. */
_Register* openNew() {
    std::uint64_t const before = filesystem::madeSoFar();
    Paths::Values paths = Paths::clear();
    RequiredAccess const settings("cannot open the settings"); // creates it, unless it exists
    if (filesystem::numberOf(&*settings) < before) {
        Paths::putBack(std::move(paths));
        throw utils::Exception("cannot share the settings: the register is already in use (create the "
                               "LiveSettings before the first use of any setting)");
    }
    wasOpenedHere = true;
    return &*settings;
}

/** Merges files into a register that is in use. */
void reload(_Register& theRegister, Files const& files, void* sender) {
    auto const now = [&](char const* scope) {
        return std::make_shared<filesystem::TreeImage const>(filesystem::TreeImage::of(theRegister, scope));
    };
    Image const user = now("/user");
    Memory memory(theRegister, user, now("/global"), [] {});
    memory.post({0, true, true, user, user->differencesTo(*files.userImage), files.userImage});
    memory.postGlobal(files.globalImage);
    memory.bringIn(sender, [] { return false; });
}

/** Records the directories, as the register's own initialisation does. */
void record(_Register& theRegister, Files const& files, std::string const& globalDirectory) {
    theRegister._writeString(nullptr, "UserDataPath", files.directory, SCOPE_TEMPORARY);
    theRegister._writeString(nullptr, "GlobalDataPath", globalDirectory, SCOPE_TEMPORARY);
}

} // namespace

_Register* openRegister(Files const& files, std::string const& globalDirectory, void* sender) {
    Lock const lock;
    if (wasOpenedHere) {
        RequiredAccess const settings("cannot open the settings");
        reload(*settings, files, sender);
        record(*settings, files, globalDirectory);
        return &*settings;
    }
    _Register* const opened = openNew();
    files.userImage->putInto(*opened, "/user");
    files.globalImage->putInto(*opened, "/global");
    record(*opened, files, globalDirectory);
    return opened;
}

} // namespace velmorand::live
