// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <utility>

#include <filesystem/PrivateDirectory.h>
#include <utils/Exception.h>

#include "Limits.h"
#include "Places.h"
#include "Synchroniser.h"

namespace velmorand::live {

namespace {

using Found = Reading::Found;

Image empty() {
    return std::make_shared<filesystem::TreeImage const>();
}

/** The content of a file; empty if it is missing or damaged. Errors: `utils::Exception` if it cannot be read. */
Image contentOf(DiskFile const& file, Reading const& reading) {
    if (reading.found == Found::unreadable)
        throw utils::Exception(file.path() + ": " + reading.reason);
    return reading.found == Found::sound ? reading.image : empty();
}

/** How the program goes on after a recovery at the start, for the user. */
char const* consequence(Found previous) {
    switch (previous) {
    case Found::sound:
        return "; restored from the previous file, without the changes of the last save";
    case Found::missing:
        return "; there is no previous file to restore, so no settings are loaded";
    case Found::damaged:
    case Found::unreadable:
        break;
    }
    return "; the previous file cannot be used either, so no settings are loaded";
}

/**
 * Recovers from a damaged file: replaces it with the previous one or, if that is not sound, moves it aside.
 * Result: the settings to start with.
 */
Image recover(Files& files, Events& events) {
    filesystem::DirectoryLock lock;
    static_cast<void>(lock.take(files.directory, patience));
    // Another process may have recovered it meanwhile.
    Reading const reading = files.user.read();
    if (reading.found != Found::damaged)
        return contentOf(files.user, reading);
    Reading const previous = files.previous.read();
    bool const isRecovered = previous.found == Found::sound;
    // A sound previous file replaces the damaged one atomically: a process that found no file would start without
    // settings.
    std::string keptAs = isRecovered ? files.user.nameForDamaged() : files.user.moveAsideAsDamaged();
    if (isRecovered && !files.user.replace(*previous.image, keptAs).isInPlace)
        keptAs.clear(); // the next save tries again
    files.isStillDamaged = keptAs.empty();
    files.user.removeOldestDamaged();
    events.note({isRecovered ? LiveEventKind::recovered : LiveEventKind::startedEmpty, files.user.path(),
                 reading.reason + consequence(previous.found),
                 keptAs.empty() ? keptAs : files.directory + '/' + keptAs});
    return isRecovered ? previous.image : empty();
}

} // namespace

Files::Files(std::string userDirectory, std::string const& globalDirectory)
    : directory(std::move(userDirectory)), user(directory, fileName), previous(directory, previousFileName),
      global(globalDirectory, fileName) {}

void Files::open(Events& events) {
    Reading const userReading = user.read();
    Image const userContent = contentOf(user, userReading);
    Reading const globalReading = global.read();
    globalImage = contentOf(global, globalReading);
    userImage = userReading.found == Found::damaged ? recover(*this, events) : userContent;
    isGlobalIgnored = globalReading.found == Found::damaged;
    if (isGlobalIgnored)
        events.note(
            {LiveEventKind::globalIgnored, global.path(), globalReading.reason + noGlobalSettings, {}});
}

} // namespace velmorand::live
