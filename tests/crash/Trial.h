// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Recording.h"
#include "support/TemporaryDirectory.h"

namespace crash {

/** Content by path, of the files below a directory. */
using Files = std::map<std::string, std::string>;

std::optional<std::string> contentOf(std::filesystem::path const& file);

/** How an application ended, and its recording. */
struct Outcome {
    [[nodiscard]] bool wasKilled() const;
    [[nodiscard]] bool exitedWith(int code) const;

    int status = 0; // as `waitpid` gives it
    Recording recording;
};

/**
 * A register directory, and the processes that use it. Unless TMPDIR is set, the directory is in memory if possible:
 * that is faster, and makes no difference to killed processes.
 */
class Trial {
public:
    /** Files of about `size` bytes, saved by the application in `manner`; "live" means live settings. */
    explicit Trial(std::size_t size, std::string manner = "register");

    /** Uses the existing directory `inside`. */
    Trial(std::filesystem::path inside, std::size_t size, std::string manner = "register");

    [[nodiscard]] std::filesystem::path const& directory() const { return _directory; }
    [[nodiscard]] std::filesystem::path observed() const { return _place / "observed"; }
    [[nodiscard]] bool isOfRegister() const { return _manner == "register"; }
    [[nodiscard]] bool isLive() const { return _manner == "live"; }
    void setSize(std::size_t size) { _size = size; }

    /** The files in the directory. */
    [[nodiscard]] Files files() const;
    [[nodiscard]] std::optional<std::string> registerFile() const { return contentOf(_directory / name); }
    [[nodiscard]] std::optional<std::string> previousFile() const {
        return contentOf(_directory / previousName);
    }

    /** The state that another process saves while an application with live settings runs, if any. */
    void setTheirs(std::optional<int> state);

    /** Whether the file system supports hard links. */
    void setLinks(bool hasLinks) { _hasLinks = hasLinks; }

    /** Empties the directory and writes the file of a state, if one is given. */
    void reset(std::optional<int> state);
    void reset(Files const& files);

    /** The bytes of the register file in a state. */
    std::string const& bytesOf(int state);

    /** The state whose file has these bytes, among those passed to `bytesOf` before; -1 for other bytes. */
    [[nodiscard]] std::optional<int> stateOf(std::optional<std::string> const& bytes) const;

    /** Runs the application with a plan for the shim. */
    Outcome run(std::string const& plan, std::string const& mode, int state, std::string const& more = {});

    /**
     * Runs the application until the plan stops it, then `other` in the same directory until it ends or waits for
     * the lock, and then continues both. Result: how they ended.
     */
    std::pair<Outcome, Outcome> runBeside(std::string const& plan, std::string const& mode, Trial& other,
                                          std::string const& otherMode, int state);

    /** Runs the application without the shim, and kills it after a while. */
    Outcome killAfter(std::chrono::microseconds delay, std::string const& mode, int state);

    /**
     * Checks the directory after a crash with a new process that loads and saves twice: the state must be allowed, byte
     * for byte, and after the next save, the directory may contain only the file and, with live settings, the previous
     * one. Result: the problem; empty if there is none. Sets `state` to the state after the check.
     */
    std::string problem(Allowed const& allowed, std::optional<int>* state = nullptr);

    static constexpr char const* name = "Velmorand.dat";
    static constexpr char const* previousName = "Velmorand.dat.previous";

private:
    static std::filesystem::path parent();
    int start(std::string const& plan, std::string const& mode, int state, std::string const& more);
    Outcome finish(int process);
    [[nodiscard]] Recording recorded() const;

    support::TemporaryDirectory _place{parent()};
    std::filesystem::path _directory;
    std::size_t _size;
    std::string _manner;
    bool _hasLinks = true;
    std::map<int, std::string> _bytes;
};

} // namespace crash
