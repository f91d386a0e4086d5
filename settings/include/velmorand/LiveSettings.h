// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "velmorand/Export.h"
#include "velmorand/Save.h"

/**
 * Settings that are shared with other running programs.
 *
 *     int main() {
 *         velmorand::LiveSettings live; // opens the settings
 *         ...
 *     }                                 // saves this process's changes
 *
 * While a `LiveSettings` exists, each change is saved within `LiveOptions::delay`, and changes saved by other processes
 * are loaded and announced to the listeners. No process loses changes: a save merges this process's changes into the
 * current file, name by name. If two processes change the same name, the later save wins.
 *
 * Guide: docs/guide.md#share-and-save.
 */
namespace velmorand {

enum class LiveEventKind {
    /**
     * The user's file was damaged and has been replaced. When this happens at the start, it is replaced with the
     * previous file, and the changes of the last save are lost. Later, it is replaced with the settings in memory, and
     * nothing is lost.
     */
    recovered,
    startedEmpty, ///< the user's file was damaged, and the previous one was missing, damaged or unreadable
    /**
     * The administrator's file is damaged, or has become unreadable. The settings that this process last read from it
     * remain in force. A process that has just started has none.
     */
    globalIgnored,
    saveFailed, ///< changes could not be saved; saving is retried until it succeeds or the object is destroyed
    savedAgain, ///< after `saveFailed`: everything has been saved
};

struct LiveEvent {
    LiveEventKind kind;
    std::string file;   ///< the affected file
    std::string reason; ///< the problem, and the consequence of damage, for the user; empty for `savedAgain`
    std::string keptAs; ///< the path at which a damaged file is kept; empty if none is kept
};

/** Members that are left out of an initializer list have their defaults: `LiveOptions{"user", "global"}`. */
struct LiveOptions {
    /**
     * UTF-8; made absolute immediately. Empty: $XDG_CONFIG_HOME/velmorand or ~/.config/velmorand. Created with mode
     * 0700 if it is missing.
     */
    std::string userDirectory{};

    /**
     * UTF-8; made absolute immediately. Empty: "velmorand" in the first directory of $XDG_CONFIG_DIRS, or of /etc/xdg,
     * that has a register file there; if none has, in the first of them.
     */
    std::string globalDirectory{};

    /** The longest time that a change may wait to be saved. */
    std::chrono::milliseconds delay{100};

    /**
     * Called with events that the user may want to know about, one at a time, on a thread that reads or saves the
     * files, with no lock held. Exceptions are ignored. Null: a line is written to standard error.
     */
    std::function<void(LiveEvent const&)> onEvent{};
};

/**
 * Shares the settings of the process with other processes for as long as the object exists. Creating it must be the
 * first use of the settings. Only one object may exist at a time; after it has been destroyed, another may be created.
 *
 * The user's file is "Velmorand.dat" in the user's directory; the version before the last save is kept as
 * "Velmorand.dat.previous". A damaged file is kept as "Velmorand.dat.damaged-TIME"; the newest five are kept.
 * `LiveEventKind` describes the file that replaces it. The administrator's file is only read.
 *
 * A dedicated thread saves and watches the files; it sleeps while nothing changes. It takes the settings' lock only to
 * collect this process's changes and to apply those of other processes; never while it waits for the disk. Changes by
 * other processes become visible together and are announced on that thread, or on the thread that calls `sync`, with
 * this object's address as the sender. Such a change has no writer to receive the exceptions of listeners, so they are
 * reported on standard error, and the other listeners are still notified. If a `_Register::Callback` throws, rather
 * than a `Listener`, some listeners are notified of the name twice.
 *
 * Removing the user's file, or its directory, resets nothing in running programs: the settings stay in memory, and the
 * next change or `sync` writes all of them again. If neither follows, the file stays missing, and the next start finds
 * no settings. To reset running programs, delete the settings themselves, as `velmorand-register delete` does.
 *
 * A forked child process does not share its settings: its changes stay in its memory. If any thread, even the thread
 * that saves, held the settings' lock at the time of the fork, the child cannot use the settings at all (`Property.h`),
 * and its `exit` may wait for a second.
 */
class VELMORAND_SETTINGS_EXPORT LiveSettings {
public:
    /**
     * Opens the settings.
     * Errors: `utils::Exception` if a file exists but cannot be read (permissions, an I/O error, not a regular file, a
     * later format version), with its path and the reason (that file is not changed); if the user's directory is not
     * known or cannot be created; if the settings have been used before; if another `LiveSettings` exists; and if the
     * thread cannot be started. A damaged file is not an error but an event.
     * Locks: takes the settings' lock.
     */
    explicit LiveSettings(LiveOptions options = {});
    LiveSettings(LiveSettings const&) = delete;
    LiveSettings& operator=(LiveSettings const&) = delete;

    /**
     * Saves this process's unsaved changes and stops sharing. If that save fails, an event reports it, and the changes
     * are not saved; to react to a failure, call `sync` first. The settings stay in memory for other users of the
     * register.
     * Locks: takes the settings' lock. Do not destroy the object with the lock held, for example inside a listener, nor
     * in `onEvent`.
     */
    ~LiveSettings();

    /**
     * Saves this process's changes and loads those of other processes. When it returns, the former are durable and the
     * latter visible.
     * Result: whether everything is saved; if not, the file and the reason. After a failure the file may contain the
     * changes without being durable; the next save makes it durable.
     * Locks: takes the settings' lock briefly, not while it waits for the disk.
     */
    SaveResult sync();

    /** Whether all changes made in this process so far are saved. Locks: takes the settings' lock. */
    [[nodiscard]] bool isSaved() const;

    /** The last events, oldest first, at most a hundred. Locks: only a private one. */
    [[nodiscard]] std::vector<LiveEvent> events() const;

    /** The directories in use: absolute paths, valid as long as this object exists. */
    [[nodiscard]] std::string const& userDirectory() const;
    [[nodiscard]] std::string const& globalDirectory() const;

private:
    class State;

    std::shared_ptr<State> _state;
};

} // namespace velmorand
