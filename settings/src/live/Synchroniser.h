// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include <filesystem/PrivateDirectory.h>

#include "DiskFile.h"
#include "Events.h"
#include "Memory.h"
#include "velmorand/Save.h"

namespace velmorand::live {

/** Follows the damage in the reason of an event. */
constexpr char const* noGlobalSettings = "; no settings of the administrator are used until it is repaired";

/** The files of one `LiveSettings`, and their last known contents. */
struct Files {
    Files(std::string userDirectory, std::string const& globalDirectory);

    /**
     * Reads both files. If the user's file is damaged, replaces it with the previous one or, if that is not sound,
     * moves it aside.
     * Errors: `utils::Exception` with path and reason if a file cannot be read.
     */
    void open(Events& events);

    std::string directory; ///< the user's
    DiskFile user;
    DiskFile previous;
    DiskFile global;
    Image userImage;              ///< the last known content of the user's file; never null after `open`
    Image globalImage;            ///< the same for the global file
    bool isStillDamaged = false;  ///< `open` has reported a damaged user's file but could not replace it
    bool isGlobalIgnored = false; ///< the global file is damaged or unreadable, and an event has reported it
};

/**
 * Merges changes of this process into the current user's file, and changes of other processes into memory. A three-way
 * merge: if both have changed the same setting, this process wins.
 *
 * The kernel's lock on the user's directory serialises processes. No thread waits for the register's lock while it
 * holds the kernel's lock or this object's mutex.
 */
class Synchroniser {
public:
    Synchroniser(Files& files, Memory& memory, Events& events, void* sender);

    enum class Missing { leaveAlone, makeAgain };

    /**
     * Merges all changes of this process. A file that has been removed is created again if there are changes, or if
     * `missing` is `makeAgain` and there are any properties. Does nothing if the caller gives up waiting for the
     * register's lock.
     */
    SaveResult run(Missing missing, GiveUp const& giveUp);

    /** Whether one of the files has been replaced or changed since it was last read or written. */
    [[nodiscard]] bool isNews();

    /** Waits for a merge in progress, and prevents further ones. */
    void stop();

private:
    struct Step {
        SaveResult result{true, {}};
        bool again = false; ///< another merge came first: collect the changes again
    };

    Step merge(Collected const& collected, Missing missing);

    // These return why they failed; empty on success.
    std::string bringIntoFile(Collected const& collected, Merged& merged, Missing missing);
    std::string take(filesystem::DirectoryLock& turn);
    std::string look(std::string& damage);
    void noteRecovery(std::string const& damage, std::string const& keptAs);

    void readGlobal();
    void report(std::string const& failure);

    Files& _files;
    Memory& _memory;
    Events& _events;
    void* const _sender;

    std::mutex _mutex; ///< held during a merge, including disk access; guards everything below
    bool _isStopped = false;
    bool _isFailing = false;
    bool _isFileMissing = false;
    bool _isFileDurable = true; ///< false if the last replacement may not survive a power loss
    std::uint64_t _merges = 0;  ///< so far, including failed ones
};

} // namespace velmorand::live
