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

/** How an application ended, and what it did until then. */
struct Outcome {
    [[nodiscard]] bool wasKilled() const;
    [[nodiscard]] bool exitedWith(int code) const;

    int status = 0; // as `waitpid` gives it
    Recording recording;
};

/**
 * A register directory, and the processes that use it. It lies in memory unless TMPDIR says where: a killed
 * process leaves the same there, and no time goes by with disks.
 */
class Trial {
public:
    /** Files of about `size` bytes; saved by the application in `manner`, which "live" makes live settings. */
    explicit Trial(std::size_t size, std::string manner = "register");

    /** Uses the directory `inside`, which the caller has made, instead of one of its own. */
    Trial(std::filesystem::path inside, std::size_t size, std::string manner = "register");

    [[nodiscard]] std::filesystem::path const& directory() const { return _directory; }
    [[nodiscard]] std::filesystem::path observed() const { return _place / "observed"; }
    [[nodiscard]] bool isOfRegister() const { return _manner == "register"; }
    [[nodiscard]] bool isLive() const { return _manner == "live"; }
    void setSize(std::size_t size) { _size = size; }

    /** The files that are in the directory. */
    [[nodiscard]] Files files() const;
    [[nodiscard]] std::optional<std::string> registerFile() const { return contentOf(_directory / name); }
    [[nodiscard]] std::optional<std::string> previousFile() const {
        return contentOf(_directory / previousName);
    }

    /** The register file that another process saves while an application with live settings runs; or none. */
    void setTheirs(std::optional<int> state);

    /** Whether the file system is to have hard links. */
    void setLinks(bool hasLinks) { _hasLinks = hasLinks; }

    /** Empties the directory and puts the file of a state there, or none. */
    void reset(std::optional<int> state);
    void reset(Files const& files);

    /** The bytes of the register file in a state. */
    std::string const& bytesOf(int state);

    /** The state whose file has these bytes, of those that `bytesOf` was asked for; -1 when there is none. */
    [[nodiscard]] std::optional<int> stateOf(std::optional<std::string> const& bytes) const;

    /** Runs the application as the shim's plan wants it. */
    Outcome run(std::string const& plan, std::string const& mode, int state, std::string const& more = {});

    /**
     * Runs the application until the plan stops it; then `other` in the same directory, until it ends or waits for
     * the lock; and lets both go on. Result: how they ended.
     */
    std::pair<Outcome, Outcome> runBeside(std::string const& plan, std::string const& mode, Trial& other,
                                          std::string const& otherMode, int state);

    /** Runs the application without the shim, and kills it after a while. */
    Outcome killAfter(std::chrono::microseconds delay, std::string const& mode, int state);

    /**
     * After a crash: has a fresh process load and save twice. Result: what is wrong, empty when nothing is:
     * the state is an allowed one, byte for byte, and after the next save nothing lies beside the file but the
     * previous one, if live settings have saved.
     * `state` is set to the one that is there now.
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
