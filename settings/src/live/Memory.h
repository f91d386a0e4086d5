// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <filesystem/ChangeLog.h>
#include <utils/properties/Register.h>

#include "../Waiting.h"
#include "DiskFile.h"
#include "velmorand/Scope.h"

namespace velmorand::live {

using Changes = std::vector<filesystem::TreeChange>;

/** This process's changes since memory and file were last the same, at one moment. */
struct Collected {
    std::uint64_t number; ///< of this collection
    std::uint64_t merges; ///< how many merges had been brought in before it
    Image base;           ///< what memory and file had in common
    Changes changes;      ///< what makes memory of it
};

/** What a merge means for memory. */
struct Merged {
    std::uint64_t number; ///< of the collection that was merged
    bool isSaved;         ///< whether the collection got into the file, durably
    bool isDurable;       ///< whether the file is as it should be on the disk
    Image before;         ///< what memory and file have in common as long as memory has none of `changes`
    Changes changes;      ///< of others: what makes the merged settings of memory as it was then
    Image base;           ///< what memory and file have in common when it has all of them
};

/**
 * The user's and the administrator's settings in the register, as seen from their files.
 *
 * Locks: what takes the register's lock says so; holding it, an object takes only a lock of its own, for a moment.
 */
class Memory {
public:
    /** `wake` is called when something has changed, with the register's lock held. */
    Memory(utils::properties::_Register& theRegister, Image user, Image global, std::function<void()> wake);

    /**
     * Brings in what was merged so far, then collects this process's changes, with those that earlier collections
     * have not got into the file yet: another thread may be about to merge them, or have failed to. Takes the
     * register's lock, unless the caller gives up: then nothing is collected, and nothing after the end.
     */
    [[nodiscard]] std::optional<Collected> collect(void* sender, GiveUp const& giveUp);

    /**
     * Hands over what a merge has found. Only a collection before which all earlier merges were brought in may be
     * merged. Locks: not the register's.
     */
    void post(Merged merged);

    /** The same for the administrator's settings. */
    void postGlobal(Image global);

    /**
     * Brings in what was handed over, all at once, and announces it. Takes the register's lock, as `collect` does.
     */
    void bringIn(void* sender, GiveUp const& giveUp);

    /**
     * Stops recording changes, so that others may record them: nothing is collected or brought in any more. Takes
     * the register's lock.
     */
    void end();

    /**
     * Whether no change waits to be saved. Takes the register's lock, unless the caller gives up: then it is true,
     * since nothing can be collected.
     */
    [[nodiscard]] bool isSaved(GiveUp const& giveUp) const;

private:
    void bringInLocked(void* sender);
    void bringInUser(Merged& merged, std::vector<std::string>& names);
    void bringInGlobal(Image const& global, std::vector<std::string>& names);
    void apply(RegisterScope scope, Changes const& changes, std::vector<std::string>& names);
    bool applyOne(std::string_view scope, filesystem::TreeChange const& change);
    bool removeFile(std::string_view scope, std::string const& path);
    void removeIfEmpty(std::string_view scope, std::string const& path);
    void makeRoom(std::string_view scope, std::string const& path);
    void announce(void* sender, std::vector<std::string> const& names);
    void addPending(std::vector<std::string> paths);
    [[nodiscard]] bool isChangedHere(std::string const& path) const;

    utils::properties::_Register& _register;

    // Guarded by the register's lock.
    Image _user;
    Image _global;
    std::unique_ptr<filesystem::ChangeLog> _log; ///< null after the end
    std::vector<std::string> _pending;           ///< paths changed here, not yet collected
    std::vector<std::string> _collected; ///< by the latest collection, and not known to be in the file
    std::uint64_t _collections = 0;
    std::uint64_t _merges = 0; ///< brought in so far
    bool _isDurable = true;    ///< whether the file is as it should be on the disk

    mutable std::mutex _inboxMutex; ///< nothing else is locked under it
    std::deque<Merged> _inbox;
    Image _newGlobal;
};

} // namespace velmorand::live
