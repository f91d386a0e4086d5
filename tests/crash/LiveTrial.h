// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "Harness.h"
#include "Trial.h"

namespace crash {

using Problems = std::vector<std::string>;

/** The states of a trial with live settings, numbered as in `Sides.h`. */
constexpr int kept = 10;   ///< of the previous file at the beginning
constexpr int opened = 11; ///< of the file at the beginning
constexpr int theirs = 21; ///< after another program's save
constexpr int ours = 22;   ///< after the tested save, which merges
constexpr int further = 23;

/** A directory with a register file and a previous one, in which an application with live settings runs. */
class LiveTrial : public Trial {
public:
    explicit LiveTrial(std::size_t size) : Trial(size, "live") { prepare(); }
    LiveTrial(std::filesystem::path inside, std::size_t size) : Trial(std::move(inside), size, "live") {
        prepare();
    }

    void begin() { reset({{name, bytesOf(opened)}, {previousName, bytesOf(kept)}}); }

    /** Runs the application from the initial state. */
    Outcome attempt(std::string const& plan, std::string const& mode, std::string const& more = {}) {
        begin();
        return run(plan, mode, opened, more);
    }

private:
    void prepare() {
        for (int const state : {kept, opened, theirs, ours, further})
            bytesOf(state);
        setTheirs(theirs);
    }
};

} // namespace crash
