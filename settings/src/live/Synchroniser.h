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

/** The files of one `LiveSettings`, and what they held when the process opened them. */
struct Files {
    Files(std::string userDirectory, std::string const& globalDirectory);

    /**
     * Reads both files. A damaged user's file is moved aside and the previous one takes its place.
     * Errors: `utils::Exception` with path and reason if a file cannot be read.
     */
    void open(Events& events);

    std::string directory; ///< the user's
    DiskFile user;
    DiskFile previous;
    DiskFile global;
    Image userImage;   ///< the user's file, as far as it is known; never null after `open`
    Image globalImage; ///< likewise
};

/**
 * Brings memory and files together: this process's changes into the user's file as it is now, and everybody
 * else's into memory. Three-way: what both have changed since they were last the same is this process's.
 *
 * Processes take turns by the kernel's lock on the user's directory. No thread waits for the register's lock while
 * it holds that one, or this object's own.
 */
class Synchroniser {
public:
    Synchroniser(Files& files, Memory& memory, Events& events, void* sender);

    enum class Missing { leaveAlone, makeAgain };

    /**
     * One merge, of all that this process has changed. A file that somebody has removed is made again only if
     * `missing` says so, or there are changes. Nothing is done if the caller gives up waiting for the register's
     * lock.
     */
    SaveResult run(Missing missing, GiveUp const& giveUp);

    /** Whether one of the files has been replaced or changed since it was last read or written. */
    [[nodiscard]] bool isNews();

    /** Lets a merge that is under way end, and begins no other. */
    void stop();

private:
    struct Step {
        SaveResult result{true, {}};
        bool again = false; ///< another merge came first: the changes have to be collected anew
    };

    Step merge(Collected const& collected, Missing missing);

    // Result: why it failed; empty if it did not.
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

    std::mutex _mutex; ///< held during a merge, disk included; all below is guarded by it
    bool _isStopped = false;
    bool _isFailing = false;
    bool _isFileMissing = false;
    bool _isFileDurable = true; ///< a replacement may be in its place and yet not survive a power cut
    bool _isGlobalIgnored = false;
    std::uint64_t _merges = 0; ///< so far, failed ones included
};

} // namespace velmorand::live
