// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <string>
#include <system_error>

#include <boost/thread/lock_guard.hpp>
#include <filesystem/RealFileSystem.h>

#include "utils/properties/Register.h"

/**
 * Saving with an answer, for programs that tell their users: `_Register::save()` is silent by design.
 *
 *     if (SaveResult const result = saveSettings(); !result.saved)
 *         std::cerr << "settings not saved: " << result.reason << '\n';
 */
namespace utils::properties {

/** What came of a save. */
struct SaveResult {
    bool saved;         ///< whether the file now holds the settings, and outlasts a power cut
    std::string reason; ///< why not: the file, and what the system says of it; empty when it is saved
};

namespace detail {

/** Where the register saves. */
struct RegisterFile : _Register {
    static std::string const& directory() { return _UserRegisterPath; }
    static std::string const& name() { return _VL_REGISTER_NAME; }
};

inline QString fromUtf8(std::string const& text) {
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

} // namespace detail

/**
 * Saves the user scope as `_Register::save()` does, replacing the register file in one step, and says what
 * came of it. When it is not saved the file stays as it was; but when only making the new file's name durable
 * failed, it is in place, and may give way to the old one after a power cut.
 * Errors: what `_Register::getInstance` throws when there is no register yet; what goes wrong with the file is
 * in the result. Before `_Register::initialize` there is no file to save to.
 * Locks: takes the register's lock, until the file is on the disk: what is saved is one moment's settings.
 */
[[nodiscard]] inline SaveResult saveSettings() {
    boost::lock_guard<boost::recursive_mutex> const lock(*_Register::_mutex);
    _Register const* const settings = _Register::getInstance();
    using File = detail::RegisterFile;
    if (File::directory().empty())
        return {false, "no directory is set to save in"};
    auto const failed = [] {
        return SaveResult{false, File::directory() + "/" + File::name() + ": " +
                                     std::generic_category().message(errno)};
    };

    filesystem::RealFileSystem disk(detail::fromUtf8(File::directory()));
    filesystem::FileHandle* handle = nullptr;
    if (!disk.open(detail::fromUtf8(File::name()), &handle, filesystem::FileSystem::MODE_WRITE))
        return failed();
    // A handle that is not closed leaves the file as it was.
    errno = EIO;
    if (!settings->serialize(QStringLiteral("/user/"), *handle) || !disk.close(handle))
        return failed();
    return {true, {}};
}

} // namespace utils::properties
