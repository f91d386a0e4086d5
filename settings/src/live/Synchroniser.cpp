// SPDX-License-Identifier: Apache-2.0
#include "Synchroniser.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include <filesystem/PrivateDirectory.h>

#include "../Access.h"
#include "Limits.h"
#include "Places.h"

namespace velmorand::live {

namespace {

using filesystem::DirectoryLock;
using filesystem::TreeImage;
using Found = Reading::Found;

constexpr char const* ended = "live settings have ended";

Image with(Image const& image, Changes const& changes) {
    return changes.empty() ? image : std::make_shared<TreeImage const>(image->with(changes));
}

} // namespace

Synchroniser::Synchroniser(Files& files, Memory& memory, Events& events, void* sender)
    : _files(files), _memory(memory), _events(events), _sender(sender) {}

SaveResult Synchroniser::run(Missing missing, GiveUp const& giveUp) {
    Step step;
    do {
        auto const collected = _memory.collect(_sender, giveUp);
        if (!collected)
            return {false, availability() == Availability::available ? ended : unavailabilityReason()};
        step = merge(*collected, missing);
        _memory.bringIn(_sender, giveUp);
        _events.tell();
    } while (step.again);
    return step.result;
}

bool Synchroniser::isNews() {
    std::lock_guard<std::mutex> const lock(_mutex);
    return !_files.user.isKnown() || !_files.global.isKnown();
}

void Synchroniser::stop() {
    std::lock_guard<std::mutex> const lock(_mutex);
    _isStopped = true;
}

Synchroniser::Step Synchroniser::merge(Collected const& collected, Missing missing) {
    std::lock_guard<std::mutex> const lock(_mutex);
    if (_isStopped)
        return {{collected.changes.empty(), ended}, false};
    // Several threads may collect and merge in different orders. Changes that were collected before the last merge was
    // applied to memory are relative to an older file: merging them would undo parts of that merge.
    if (collected.merges != _merges)
        return {{}, true};
    Merged merged{collected.number, false, true, collected.base, {}, collected.base};
    std::string failure;
    try {
        readGlobal();
        failure = bringIntoFile(collected, merged, missing);
    } catch (std::exception const& exception) { // out of memory
        failure = _files.user.path() + ": " + exception.what();
    }
    merged.isSaved = failure.empty();
    merged.isDurable = _isFileDurable;
    report(failure);
    _memory.post(std::move(merged));
    ++_merges;
    return {{failure.empty(), failure}, false};
}

std::string Synchroniser::bringIntoFile(Collected const& collected, Merged& merged, Missing missing) {
    DirectoryLock turn;
    bool const hasChanges = !collected.changes.empty();
    bool const isMadeIfMissing = hasChanges || missing == Missing::makeAgain;
    std::string damage;
    // Without changes of this process there is usually nothing to write, so the file is first read without the lock.
    if (!hasChanges) {
        if (std::string failure = look(damage); !failure.empty())
            return failure;
    }
    if (hasChanges || !damage.empty() || !_isFileDurable || (_isFileMissing && isMadeIfMissing)) {
        damage.clear(); // another process may have replaced the file meanwhile
        if (std::string failure = take(turn); !failure.empty())
            return failure;
        if (std::string failure = look(damage); !failure.empty())
            return failure;
    }

    Image const theirs = _files.userImage;
    Image const memory = with(collected.base, collected.changes);
    Image const result = theirs == collected.base ? memory : with(theirs, collected.changes);
    merged.base = theirs;
    if (result != memory)
        merged.changes = memory->differencesTo(*result);

    bool const isMade = _isFileMissing && isMadeIfMissing && (hasChanges || result->fileCount() != 0);
    bool const isOther = !_isFileMissing && result->bytes() != theirs->bytes();
    std::string failure;
    if (isMade || isOther || !damage.empty() || (!_isFileMissing && !_isFileDurable)) {
        // If the content stays the same and is only made durable, the previous file has been kept already.
        std::string const keptAs = !damage.empty()     ? _files.user.nameForDamaged()
                                   : isMade || isOther ? previousFileName
                                                       : "";
        auto replaced = _files.user.replace(*result, keptAs);
        failure = std::move(replaced.failure);
        if (!replaced.isInPlace)
            return failure;
        _isFileDurable = failure.empty();
        _files.userImage = result;
        _isFileMissing = false;
        if (!damage.empty())
            noteRecovery(damage, keptAs);
    }
    merged.before = memory;
    merged.base = result;
    return failure;
}

/** Waits for the lock on the directory; creates the directory if it is missing. */
std::string Synchroniser::take(DirectoryLock& turn) {
    auto outcome = turn.take(_files.directory, patience);
    if (outcome == DirectoryLock::Outcome::failed && errno == ENOENT &&
        filesystem::makePrivateDirectories(_files.directory))
        outcome = turn.take(_files.directory, patience);
    switch (outcome) {
    case DirectoryLock::Outcome::timedOut:
        return _files.directory + ": another process has held the lock for too long";
    case DirectoryLock::Outcome::failed:
        return _files.directory + ": " + std::generic_category().message(errno);
    case DirectoryLock::Outcome::taken:
        break;
    }
    return {};
}

/** Called when a damaged file has been replaced with the settings in memory. */
void Synchroniser::noteRecovery(std::string const& damage, std::string const& keptAs) {
    _files.user.removeOldestDamaged();
    _events.note({LiveEventKind::recovered, _files.user.path(),
                  damage + "; replaced with the settings in memory" +
                      (std::exchange(_files.isStillDamaged, false) ? "" : ", nothing is lost"),
                  _files.directory + '/' + keptAs});
}

/** Reads the user's file if it has changed. `damage` is the reason if it is damaged. */
std::string Synchroniser::look(std::string& damage) {
    auto const reading = _files.user.readIfChanged(_files.userImage);
    if (!reading)
        return {};
    switch (reading->found) {
    case Found::unreadable:
        return _files.user.path() + ": " + reading->reason;
    case Found::damaged:
        damage = reading->reason;
        _isFileMissing = false;
        break;
    case Found::missing:
        _isFileMissing = true;
        _isFileDurable = true; // there is no content that could be lost
        break;
    case Found::sound:
        _files.userImage = reading->image;
        _isFileMissing = false;
        break;
    }
    return {};
}

void Synchroniser::readGlobal() {
    auto const reading = _files.global.readIfChanged(_files.globalImage);
    if (!reading)
        return;
    if (reading->found == Found::damaged || reading->found == Found::unreadable) {
        // Reported only once, until the file can be read again.
        if (!std::exchange(_files.isGlobalIgnored, true))
            _events.note({LiveEventKind::globalIgnored,
                          _files.global.path(),
                          reading->reason + (_files.globalImage->fileCount() == 0
                                                 ? noGlobalSettings
                                                 : "; the settings last read from it remain in force"),
                          {}});
        return;
    }
    _files.isGlobalIgnored = false;
    _files.globalImage =
        reading->found == Found::sound ? reading->image : std::make_shared<TreeImage const>();
    _memory.postGlobal(_files.globalImage);
}

void Synchroniser::report(std::string const& failure) {
    if (std::exchange(_isFailing, !failure.empty()) == !failure.empty())
        return;
    std::string const path = _files.user.path() + ": "; // the event names the file anyway
    bool const isOfFile = failure.compare(0, path.size(), path) == 0;
    _events.note({failure.empty() ? LiveEventKind::savedAgain : LiveEventKind::saveFailed,
                  _files.user.path(),
                  failure.substr(isOfFile ? path.size() : 0),
                  {}});
}

} // namespace velmorand::live
