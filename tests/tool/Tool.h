// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/TemporaryDirectory.h"

namespace tool {

using Arguments = std::vector<std::string>;

/** The outcome of a run: its exit status, or the negated number of the signal that ended it, and its output. */
struct Outcome {
    int status;
    std::string out;
    std::string err;
};

inline void PrintTo(Outcome const& outcome, std::ostream* out) {
    *out << "status " << outcome.status << ", out \"" << outcome.out << "\", err \"" << outcome.err << '"';
}

/** The content of a file; "no file" if it does not exist. */
std::string bytesOf(std::string const& path);
void putBytes(std::string const& path, std::string const& bytes);

/** The tool with temporary user, global and home directories. */
class Tool : public ::testing::Test {
protected:
    Tool();

    /** Runs the tool with exactly these arguments. */
    Outcome runBare(Arguments const& arguments, std::string const& input = "");

    /** Runs the tool on the user directory. */
    Outcome run(Arguments arguments, std::string const& input = "");

    /** The output of a run on the user directory, which must succeed and write nothing on standard error. */
    std::string answer(Arguments const& arguments, std::string const& input = "");

    /** Starts the tool. Its output goes to `outPath()` and `errPath()`. */
    [[nodiscard]] pid_t start(Arguments const& arguments, std::string const& input = "") const;

    /** Starts the tool with a terminal as its standard input, output and error. */
    [[nodiscard]] static pid_t startOn(int terminal, Arguments const& arguments);

    [[nodiscard]] std::string at(std::string const& name) const { return (directory / name).string(); }
    [[nodiscard]] std::string outPath() const { return at("out"); }
    [[nodiscard]] std::string errPath() const { return at("err"); }

    /** Makes later runs of the tool respect file permissions, even if root runs them. */
    void obeyPermissions() { _isObeying = true; }

    support::TemporaryDirectory directory;
    std::string user = at("user");
    std::string global = at("global");
    std::string userFile = user + "/Velmorand.dat";
    std::string globalFile = global + "/Velmorand.dat";

private:
    bool _isObeying = false;
};

/** Matches a failed run: this exit status, one line with this text on standard error, and no standard output. */
MATCHER_P2(Complains, status, text, "") {
    std::string const& line = arg.err;
    return arg.status == status && arg.out.empty() && line.find("velmorand-register: ") == 0 &&
           line.find('\n') == line.size() - 1 && line.find(text) != std::string::npos;
}

/** Matches an error message about the command line: a line with this text, followed by the usage of the command. */
MATCHER_P(ShowsUsage, text, "") {
    std::string const& lines = arg.err;
    auto const usage = lines.find("\nUsage: velmorand-register ");
    auto const hint = lines.find("\nTry 'velmorand-register ");
    return arg.status == 2 && arg.out.empty() && lines.find("velmorand-register: ") == 0 &&
           lines.find(text) < usage && usage == lines.find('\n') && hint == lines.find('\n', usage + 1) &&
           lines.find(" --help' for more.\n", hint) ==
               lines.size() - std::string(" --help' for more.\n").size();
}

} // namespace tool
