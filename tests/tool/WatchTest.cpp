// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <filesystem>

#include <sched.h>
#include <sys/wait.h>

#include "Tool.h"

using namespace tool;

namespace {

/**
 * The command `watch`, running in the background. It does not report when it is ready, so the function `watch` changes
 * a setting until the command prints a change.
 */
class Watch : public Tool {
protected:
    ~Watch() override {
        if (_watcher > 0) {
            ::kill(_watcher, SIGKILL);
            ::waitpid(_watcher, nullptr, 0);
        }
    }

    void watch(Arguments const& arguments) {
        std::filesystem::remove(outPath());
        std::filesystem::remove(errPath());
        _watcher = start(arguments);
        // Later runs must not overwrite the watcher's output.
        _out = at("watched");
        _err = at("complained");
        while (!std::filesystem::exists(outPath()) || !std::filesystem::exists(errPath()))
            ::sched_yield();
        std::filesystem::rename(outPath(), _out);
        std::filesystem::rename(errPath(), _err);
        std::filesystem::create_directories(user);
        for (int i = 0; bytesOf(_out).empty(); ++i)
            answer({"set", "integer", "ready", std::to_string(i)});
    }

    /** Waits until the watcher's output ends with this text. */
    void printed(std::string const& end) const { waitFor(_out, end); }
    void complained(std::string const& end) const { waitFor(_err, end); }

    pid_t _watcher = 0;

private:
    static void waitFor(std::string const& path, std::string const& end) {
        std::string text;
        do {
            ::sched_yield();
            text = bytesOf(path);
        } while (text.size() < end.size() || text.compare(text.size() - end.size(), end.size(), end) != 0);
    }

    std::string _out;
    std::string _err;
};

} // namespace

TEST_F(Watch, PrintsOldAndNewValues) {
    answer({"set", "integer", "x", "1"});
    watch({"--user", user, "watch"});
    answer({"set", "integer", "x", "2"});
    printed("- x: integer 1\n+ x: integer 2\n");
    answer({"delete", "x"});
    printed("- x: integer 2\n");
    answer({"set", "strings", "y", "a", "b"});
    printed("+ y: strings [\"a\", \"b\"]\n");
}

TEST_F(Watch, TreatsAMissingFileAsEmpty) {
    watch({"--user", user, "watch"});
    answer({"set", "integer", "x", "2"});
    printed("+ x: integer 2\n");
    std::filesystem::remove(userFile);
    printed("- x: integer 2\n");
}

TEST_F(Watch, ReportsADamagedFileAndContinues) {
    watch({"--user", user, "watch"});
    answer({"set", "integer", "x", "1"});
    printed("+ x: integer 1\n");
    std::string const sound = bytesOf(userFile);
    putBytes(userFile, "damaged");
    complained("not a register file (list its copies with: velmorand-register --user \"" + user +
               "\" restore)\n");
    putBytes(userFile, sound);
    answer({"set", "integer", "x", "2"});
    printed("- x: integer 1\n+ x: integer 2\n");
}

TEST_F(Watch, FollowsALink) {
    std::filesystem::create_symlink(globalFile, userFile);
    watch({"--user", user, "watch"});
    answer({"set", "integer", "x", "1"});
    printed("+ x: integer 1\n");
    EXPECT_TRUE(std::filesystem::is_symlink(userFile));
}

TEST_F(Watch, FollowsALinkInPlaceOfTheDirectory) {
    std::filesystem::create_symlink(user, at("link"));
    watch({"--user", at("link"), "watch"});
    answer({"--scope", "global", "--global", global, "set", "integer", "x", "1"});
    std::filesystem::create_symlink(global, at("other"));
    std::filesystem::rename(at("other"), at("link"));
    printed("+ x: integer 1\n");
}

TEST_F(Watch, FollowsAFileThatGetsASecondLink) {
    answer({"--scope", "global", "--global", global, "set", "integer", "x", "1"});
    watch({"--user", user, "watch"});
    std::filesystem::remove(userFile);
    std::filesystem::create_hard_link(globalFile, userFile);
    printed("+ x: integer 1\n");
}

TEST_F(Watch, FollowsADirectoryThatIsReplaced) {
    watch({"--user", user, "watch"});
    answer({"set", "integer", "x", "1"});
    printed("+ x: integer 1\n");
    std::filesystem::remove_all(user);
    printed("- x: integer 1\n");
    std::filesystem::create_directory(user);
    answer({"set", "integer", "x", "2"});
    printed("+ x: integer 2\n");
}

TEST_F(Watch, WaitsForTheDefaultUserDirectory) {
    user = at(".config/velmorand");
    watch({"watch"});
    answer({"set", "integer", "x", "1"});
    printed("+ x: integer 1\n");
}
