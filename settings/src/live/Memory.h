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

/** The changes that this process has made since memory and file were last equal. */
struct Collected {
    std::uint64_t number; ///< the number of this collection
    std::uint64_t merges; ///< how many merges had been applied to memory before it
    Image base;           ///< the last state that memory and file had in common
    Changes changes;      ///< the differences from `base` to memory
};

/** The result of a merge, to be applied to memory. */
struct Merged {
    std::uint64_t number; ///< the collection that was merged
    bool isSaved;         ///< whether the collected changes are in the file, durably
    bool isDurable;       ///< whether the content of the file is durable
    Image before;         ///< the common state before `changes` are applied to memory
    Changes changes;      ///< made by other processes: the differences from the collected to the merged state
    Image base;           ///< the common state after all `changes` are applied
};

/**
 * The in-memory side of live settings: collects the changes of this process, and applies those of other processes.
 *
 * Locks: functions that take the register's lock say so. While holding it, an object locks only its own mutex, briefly.
 */
class Memory {
public:
    /** `wake` is called after a change, with the register's lock held. */
    Memory(utils::properties::_Register& theRegister, Image user, Image global, std::function<void()> wake);

    /**
     * Applies all posted merges, then collects the changes of this process. These include changes that were collected
     * earlier but are not in the file yet, because another thread is still merging them or the merge has failed. Takes
     * the register's lock.
     * Result: nothing if the caller gives up waiting for the lock, or after `end`.
     */
    [[nodiscard]] std::optional<Collected> collect(void* sender, GiveUp const& giveUp);

    /**
     * Queues the result of a merge. A collection may be merged only if all earlier merges had been applied when it was
     * made. Does not take the register's lock.
     */
    void post(Merged merged);

    /** Queues new settings of the administrator. Does not take the register's lock. */
    void postGlobal(Image global);

    /**
     * Applies everything that was queued, all at once, and notifies listeners. Takes the register's lock, as `collect`
     * does.
     */
    void bringIn(void* sender, GiveUp const& giveUp);

    /**
     * Stops recording changes, so that another object can start. From now on nothing is collected or applied. Takes the
     * register's lock.
     */
    void end();

    /**
     * Whether all changes are saved. Takes the register's lock. After `end`, or if the caller gives up waiting for the
     * lock, the result is true, because nothing more could be collected.
     */
    [[nodiscard]] bool isSaved(GiveUp const& giveUp) const;

private:
    void bringInLocked(void* sender);
    void bringInUser(Merged& merged, std::vector<std::string>& names);
    void bringInGlobal(Image const& global, std::vector<std::string>& names);
    void apply(RegisterScope scope, Changes const& changes, std::vector<std::string>& names);
    bool applyOne(std::string_view scope, filesystem::TreeChange const& change);
    char* makeFile(std::string_view scope, std::string const& path, std::size_t size);
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
    std::unique_ptr<filesystem::ChangeLog> _log; ///< null after `end`
    std::vector<std::string> _pending;           ///< paths changed by this process and not yet collected
    std::vector<std::string> _collected; ///< paths in the latest collection, not known to be in the file yet
    std::uint64_t _collections = 0;
    std::uint64_t _merges = 0; ///< applied so far
    bool _isDurable = true;    ///< whether the content of the file is durable

    mutable std::mutex _inboxMutex; ///< no other lock is taken while holding it
    std::deque<Merged> _inbox;
    Image _newGlobal;
};

} // namespace velmorand::live
