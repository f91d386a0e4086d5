// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace crash {

/**
 * A line in the log of a run: a mark of the application ("mark begin 2"), or a numbered call and its effect on the
 * disk. Paths are relative to the directory, files are identified by their inodes, bytes are hexadecimal:
 *
 *     call 7 open create .Velmorand.dat.velmorand-0123abcd-4a5b6c7d 4711
 *     call 8 write write 4711 0 d9d9f7
 *     call 9 sync sync 4711
 *     call 10 rename rename .Velmorand.dat.velmorand-0123abcd-4a5b6c7d Velmorand.dat
 *     call 11 sync syncdir .
 *     call 12 stat failed
 *
 * and "syncfs", "truncate INODE SIZE", "link FROM TO", "unlink PATH". A call without effect has no further words.
 */
struct Event {
    [[nodiscard]] bool isMark() const { return call == 0; }
    [[nodiscard]] bool is(std::string const& what) const { return !effect.empty() && effect[0] == what; }

    long call = 0;    // its number; 0 for a mark
    std::string name; // of the call, or of the mark: "begin", "keep", "end", "failed" or "found"
    int state = 0;    // of a mark
    std::vector<std::string>
        effect; // "write" and its arguments; for the mark "failed", the words of the reason
};

/** The events of a run, in order. */
class Recording {
public:
    Recording() = default;

    /** Reads a log. An incomplete last line, written by a killed process, is ignored. */
    explicit Recording(std::string const& log);

    [[nodiscard]] std::vector<Event> const& events() const { return _events; }
    [[nodiscard]] long calls() const;

    /** The calls between the start of the save of `state` and its end. */
    [[nodiscard]] std::vector<Event> callsOf(int state) const;

    /** The reason why the save of `state` failed, if it did. */
    [[nodiscard]] std::optional<std::string> failureOf(int state) const;

    /** Whether a call of this name has failed. */
    [[nodiscard]] bool hasFailed(std::string const& name) const;

    /** The state that a new process found. */
    [[nodiscard]] std::optional<int> found() const;

private:
    std::vector<Event> _events;
};

/**
 * The states that may be on the disk: the last one whose save has finished, and the one being saved; a failed save
 * counts as unfinished. A save after the mark "keep" keeps the previous file.
 */
class Allowed {
public:
    /** `previous` is the state of the previous file, if there is one. */
    explicit Allowed(std::optional<int> initial, std::optional<int> previous = {})
        : _finished(initial), _previous{previous} {}
    Allowed(std::optional<int> initial, Recording const& recording, std::optional<int> previous = {})
        : Allowed(initial, previous) {
        for (Event const& event : recording.events())
            apply(event);
    }

    void apply(Event const& event) {
        if (!event.isMark())
            return;
        if (event.name == "keep")
            _previous.insert(_finished);
        if (event.name == "keep" || event.name == "begin") {
            _isKept = event.name == "keep";
            _underWay = event.state;
        }
        if (event.name == "end") {
            if (_isKept)
                _previous = {_finished};
            _finished = event.state;
            _underWay.reset();
        }
    }

    /** Whether the file may have a state; without one: whether it may be missing. */
    [[nodiscard]] bool has(std::optional<int> state) const {
        return state == _finished || (state && state == _underWay);
    }

    /** Whether the previous file may have a state; without one: whether it may be missing. */
    [[nodiscard]] bool hasPrevious(std::optional<int> state) const { return _previous.count(state) != 0; }

    [[nodiscard]] std::optional<int> finished() const { return _finished; }
    [[nodiscard]] std::optional<int> underWay() const { return _underWay; }

private:
    std::optional<int> _finished;
    std::optional<int> _underWay;
    std::set<std::optional<int>> _previous;
    bool _isKept = false;
};

} // namespace crash
