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
 *     }                                 // saves what this process has changed
 *
 * While a `LiveSettings` exists, each change is saved within a moment, and what other processes save arrives here
 * and is announced to the listeners. Nobody's changes are lost: a save puts this process's changes into the file as
 * it is at that moment, name by name. If two processes change the same name, the later save wins.
 */
namespace velmorand {

enum class LiveEventKind {
    /**
     * The user's file was damaged, and an intact one has replaced it. If it was found at the start, that is the previous
     * file, and what the last save had changed is lost. If it was found later, the settings in memory have been written
     * again; then nothing is lost, and the reason says so.
     */
    recovered,
    startedEmpty,  ///< the user's file was damaged, and so was the previous one, or there was none
    globalIgnored, ///< the administrator's file is damaged or cannot be read, and is not used until it can be
    saveFailed,    ///< changes could not be saved; saving is tried again until it succeeds
    savedAgain,    ///< after `saveFailed`: everything is saved
};

struct LiveEvent {
    LiveEventKind kind;
    std::string file;   ///< which file it is about
    std::string reason; ///< what is wrong with it
    std::string keptAs; ///< where a damaged file was moved to; empty if it was not
};

/** Members that are left out of an initializer list have their defaults: `LiveOptions{"user", "global"}`. */
struct LiveOptions {
    /**
     * UTF-8; made absolute at once. Empty: $XDG_CONFIG_HOME/velmorand or ~/.config/velmorand. Created with mode
     * 0700 if it is missing.
     */
    std::string userDirectory{};

    /**
     * UTF-8; made absolute at once. Empty: "velmorand" in the first directory of $XDG_CONFIG_DIRS, or of /etc/xdg,
     * that has a register file there; if none has, in the first of them.
     */
    std::string globalDirectory{};

    /** How long a change may wait to be saved, at most. */
    std::chrono::milliseconds delay{100};

    /**
     * Called with what the user may want to know, one call at a time, on the thread that has noticed it, with no lock
     * held. Null: a line on standard error.
     */
    std::function<void(LiveEvent const&)> onEvent{};
};

/**
 * The settings of the process, shared with other processes for as long as this object lives. There is at most one
 * at a time, and it is the first use of the settings; a later one may follow when it has been destroyed.
 *
 * The user's file is "Velmorand.dat" in the user's directory; the one before the last save is kept as
 * "Velmorand.dat.previous". A damaged file is moved to "Velmorand.dat.damaged-TIME" and the previous one takes its
 * place; the newest five are kept. The administrator's file is only read.
 *
 * A thread of its own saves and watches the files; it sleeps while nothing changes. It takes the settings' lock
 * only to look at what has changed and to bring in what others have changed; never while it waits for the disk.
 * Changes by other processes become visible together and are announced on that thread, or on the thread that calls
 * `sync`, with this object's address as the sender. They have no writer who could get what a listener throws: it is
 * written on standard error, and all other listeners are notified. If it is not a `Listener` but a
 * `_Register::Callback` that throws, some listeners hear that name twice.
 *
 * A user's file that is removed meanwhile, with or without its directory, resets nothing: the settings stay in memory,
 * and the next change, or `sync`, writes all of them again. Without either the file stays missing, and the next start
 * finds no settings. To reset programs while they run, delete the settings themselves, as `velmorand-register delete`
 * does.
 *
 * A forked child process shares nothing: its changes stay in its memory. If any thread held the settings' lock at the
 * moment of the fork, be it only the thread that saves, the child cannot use the settings at all (`Property.h`), and its
 * `exit` may wait for a second.
 */
class VELMORAND_SETTINGS_EXPORT LiveSettings {
public:
    /**
     * Opens the settings.
     * Errors: `utils::Exception` if a file exists and cannot be read (permissions, an I/O error, not a regular
     * file, a later format version), with its path and the reason, and the file is left alone; if no user directory
     * is known or it cannot be made; if the settings have been used before, or another `LiveSettings` exists. A
     * damaged file is not an error but an event.
     * Locks: takes the settings' lock.
     */
    explicit LiveSettings(LiveOptions options = {});
    LiveSettings(LiveSettings const&) = delete;
    LiveSettings& operator=(LiveSettings const&) = delete;

    /**
     * Saves what has changed, and stops sharing. What is in memory stays there for other users of the register.
     * Locks: takes the settings' lock; do not call it with the lock held, which a listener does, nor from
     * `onEvent`.
     */
    ~LiveSettings();

    /**
     * Saves this process's changes now and brings in those of others: durable and visible when it returns.
     * Result: whether everything is saved; otherwise the file and the reason. After a failure the file may hold the
     * changes already, until the power fails; the next save makes sure of them.
     * Locks: takes the settings' lock for a moment, not while it waits for the disk.
     */
    SaveResult sync();

    /** Whether all changes made in this process so far are saved. Locks: takes the settings' lock. */
    [[nodiscard]] bool isSaved() const;

    /** The events so far, oldest first; at most the last hundred. */
    [[nodiscard]] std::vector<LiveEvent> events() const;

    /** The directories in use. */
    [[nodiscard]] std::string const& userDirectory() const;
    [[nodiscard]] std::string const& globalDirectory() const;

private:
    class State;

    std::shared_ptr<State> _state;
};

} // namespace velmorand
