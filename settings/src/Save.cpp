// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Save.h"

#include <cerrno>
#include <system_error>

#include <QString>

#include <filesystem/RealFileSystem.h>

#include "Access.h"
#include "live/Current.h"

namespace velmorand {

namespace {

/** Where the register saves. */
struct UserFile : utils::properties::_Register {
    static std::string const& directory() { return _UserRegisterPath; }
    static std::string const& name() { return _VL_REGISTER_NAME; }
};

SaveResult failed() {
    int const error = errno;
    return {false,
            UserFile::directory() + "/" + UserFile::name() + ": " + std::generic_category().message(error)};
}

} // namespace

SaveResult saveSettings() {
    if (auto const current = live::Current::get())
        return current->sync();
    Access const settings;
    if (!settings)
        return {false, unavailabilityReason()};
    if (UserFile::directory().empty())
        return {false, "no user directory has been set"};

    filesystem::RealFileSystem disk(QString::fromStdString(UserFile::directory()));
    filesystem::FileHandle* handle = nullptr;
    if (!disk.open(QString::fromStdString(UserFile::name()), &handle, filesystem::FileSystem::MODE_WRITE))
        return failed();
    // A handle that is not closed leaves the file as it was.
    errno = EIO;
    if (!settings->serialize(QStringLiteral("/user/"), *handle) || !disk.close(handle))
        return failed();
    return {true, {}};
}

} // namespace velmorand
