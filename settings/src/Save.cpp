// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Save.h"

#include <cerrno>
#include <cstdint>
#include <mutex>
#include <new>
#include <system_error>

#include <pthread.h>

#include <QString>

#include <filesystem/Direct.h>
#include <filesystem/RAMFileSystem.h>
#include <filesystem/RealFileSystem.h>

#include "Access.h"
#include "live/Current.h"

namespace velmorand {

namespace {

using filesystem::FileHandle;
using filesystem::FileSystem;
using utils::properties::_Register;

/** The file in which the register saves. */
struct UserFile : _Register {
    static std::string const& directory() { return _UserRegisterPath; }
    static std::string const& name() { return _VL_REGISTER_NAME; }
};

/** The settings at one moment, encoded as a register file, and the path of that file. */
struct Snapshot {
    std::string directory;
    std::string name;
    std::string bytes;
    std::uint64_t number = 0; ///< increases in the order in which snapshots are taken
};

std::uint64_t snapshots = 0; // guarded by the settings' lock

/** Orders saves, so that an older snapshot never replaces a newer one. */
struct Saving {
    std::mutex mutex;
    std::uint64_t last = 0; ///< the number of the snapshot in the file
};

Saving saving; // trivially destructible, so that static objects can use it at any time during exit

/** A forked child lacks the thread that may have been saving, so it needs a new mutex. */
[[maybe_unused]] int const remadeAfterForks =
    ::pthread_atfork(nullptr, nullptr, [] { new (&saving.mutex) std::mutex; });

SaveResult failed(Snapshot const& snapshot, std::string const& reason) {
    return {false, snapshot.directory + '/' + snapshot.name + ": " + reason};
}

SaveResult failed(Snapshot const& snapshot) {
    return failed(snapshot, std::generic_category().message(errno));
}

/** Result: false if another thread changed the settings meanwhile without holding the lock. */
bool take(_Register const& settings, Snapshot& snapshot) {
    filesystem::RAMFileSystem memory;
    FileHandle* handle = nullptr;
    memory.open(QStringLiteral("/file"), &handle, FileSystem::MODE_WRITE);
    if (!settings.serialize(QStringLiteral("/user/"), *handle))
        return false;
    snapshot.bytes = filesystem::direct::find(memory, {"file"}, {}).content;
    snapshot.number = ++snapshots;
    return true;
}

SaveResult write(Snapshot const& snapshot) {
    std::lock_guard<std::mutex> const lock(saving.mutex);
    if (saving.last > snapshot.number)
        return {true, {}}; // the file is already newer
    filesystem::RealFileSystem disk(QString::fromStdString(snapshot.directory));
    FileHandle* handle = nullptr;
    if (!disk.open(QString::fromStdString(snapshot.name), &handle, FileSystem::MODE_WRITE))
        return failed(snapshot);
    // A handle that is not closed leaves the file unchanged.
    auto const size = static_cast<long>(snapshot.bytes.size());
    errno = EIO;
    if (disk.write(handle, snapshot.bytes.data(), size) != size || !disk.close(handle))
        return failed(snapshot);
    saving.last = snapshot.number;
    return {true, {}};
}

} // namespace

SaveResult saveSettings() {
    if (auto const current = live::Current::get())
        return current->sync();
    Snapshot snapshot;
    {
        Access const settings;
        if (!settings)
            return {false, unavailabilityReason()};
        snapshot.directory = UserFile::directory();
        snapshot.name = UserFile::name();
        if (snapshot.directory.empty())
            return {false, "no user directory is set"};
        if (!take(*settings, snapshot))
            return failed(snapshot, "another thread changed the settings without holding the lock");
    }
    return write(snapshot);
}

} // namespace velmorand
