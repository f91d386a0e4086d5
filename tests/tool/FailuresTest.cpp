// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <filesystem>

#include <sys/wait.h>

#include "Tool.h"
#include "support/FileSizeLimit.h"

using namespace tool;

namespace {

/** The tool with a register file that it cannot read or replace. */
class Failures : public Tool {
protected:
    Failures() {
        answer({"set", "string", "x", "old"});
        saved = bytesOf(userFile);
    }

    /** Runs the tool with a limit on the size of files, which has the effect of a full disk. */
    Outcome runOnAFullDisk(Arguments const& arguments) {
        support::FileSizeLimit const limit(room);
        return run(arguments);
    }

    /** Enough for error messages and coverage counts, but not for a register file with the value of `setting`. */
    static constexpr rlim_t room = 1'000'000;
    Arguments const setting = [] {
        Arguments arguments(15, std::string(100'000, 'l'));
        std::copy_n(Arguments{"set", "strings", "x"}.begin(), 3, arguments.begin());
        return arguments;
    }();
    std::string saved;
};

std::vector<Arguments> everyReader(std::string const& file) {
    return {{"list"}, {"get", "x"}, {"export"}, {"check"}, {"diff", file, file}};
}

} // namespace

TEST_F(Failures, ToReadADamagedFileAreReportedWithItsPath) {
    putBytes(userFile, saved.substr(0, saved.size() - 1));
    for (Arguments const& arguments : everyReader(userFile))
        EXPECT_THAT(run(arguments), Complains(3, userFile + ": ")) << arguments.front();
}

TEST_F(Failures, ToReadADamagedFileLeaveItUnchanged) {
    for (std::string const& damaged :
         {std::string(), std::string("garbage"), saved.substr(0, saved.size() / 2)}) {
        putBytes(userFile, damaged);
        EXPECT_THAT(run({"set", "integer", "y", "1"}), Complains(3, userFile + ": "));
        EXPECT_THAT(run({"delete", "x"}), Complains(3, userFile + ": "));
        EXPECT_THAT(run({"import", "-"}, "{}"), Complains(3, userFile + ": "));
        EXPECT_THAT(run({"import", "--replace", "-"}, "{}"), Complains(3, userFile + ": "));
        EXPECT_EQ(damaged, bytesOf(userFile));
    }
}

TEST_F(Failures, ToReadADamagedFileNameTheCommandThatListsItsCopies) {
    putBytes(userFile, "garbage");
    for (Arguments const& arguments :
         {Arguments{"list"}, {"set", "integer", "y", "1"}, {"import", "-"}, {"export"}, {"check"}})
        EXPECT_THAT(run(arguments, "{}"),
                    Complains(3, userFile +
                                     ": not a register file (list its copies with: velmorand-register "
                                     "--user \"" +
                                     user + "\" restore)\n"))
            << arguments.front();
    putBytes(globalFile, "garbage");
    EXPECT_THAT(run({"--global", global, "lock", "x"}),
                Complains(3, globalFile +
                                 ": not a register file (list its copies with: velmorand-register "
                                 "--global \"" +
                                 global + "\" --scope global restore)\n"));
}

TEST_F(Failures, ToReadTheDefaultFileNameTheCommandThatListsItsCopies) {
    std::filesystem::create_directories(at(".config"));
    std::filesystem::rename(user, at(".config/velmorand"));
    putBytes(at(".config/velmorand/Velmorand.dat"), "garbage");
    EXPECT_THAT(runBare({"list"}), Complains(3, " (list its copies with: velmorand-register restore)\n"));
}

TEST_F(Failures, ToReadOtherFilesNameNoCommand) {
    putBytes(at("other"), "garbage");
    EXPECT_THAT(run({"check", at("other")}), Complains(3, at("other") + ": not a register file\n"));
    putBytes(globalFile, "garbage");
    EXPECT_THAT(run({"check", global}), Complains(3, globalFile + ": not a register file\n"));
}

TEST_F(Failures, CausedByTrailingDataAreReportedOnlyByCheck) {
    putBytes(userFile, saved + "xyz");
    EXPECT_THAT(run({"check"}), Complains(3, userFile + ": unexpected data after the settings: 3 bytes"));
    EXPECT_EQ("old\n", answer({"get", "x"}));
}

TEST_F(Failures, ToReadTheGlobalFileAffectOnlyCommandsThatReadIt) {
    putBytes(globalFile, "garbage");
    EXPECT_THAT(run({"--global", global, "get", "y"}), Complains(3, globalFile + ": "));
    EXPECT_EQ("old\n", answer({"get", "x"}));
}

TEST_F(Failures, OfTwoFilesAreBothReported) {
    putBytes(globalFile, "garbage");
    putBytes(userFile, "garbage");
    Outcome const outcome = run({"--global", global, "check"});
    EXPECT_EQ(3, outcome.status);
    EXPECT_THAT(outcome.err, testing::HasSubstr(userFile + ": not a register file"));
    EXPECT_THAT(outcome.err, testing::HasSubstr(globalFile + ": not a register file"));
}

TEST_F(Failures, CausedByADirectoryInPlaceOfTheFileAreReported) {
    std::filesystem::remove(userFile);
    std::filesystem::create_directory(userFile);
    EXPECT_THAT(run({"get", "x"}), Complains(3, userFile + ": Is a directory"));
    EXPECT_THAT(run({"set", "integer", "y", "1"}), Complains(3, userFile + ": Is a directory"));
}

TEST_F(Failures, CausedByADeviceInPlaceOfTheFileAreReported) {
    EXPECT_THAT(run({"check", "/dev/null"}), Complains(3, "/dev/null: not a regular file"));
}

TEST_F(Failures, CausedByAnUnreadableFileAreReported) {
    obeyPermissions();
    std::filesystem::permissions(userFile, std::filesystem::perms::none);
    EXPECT_THAT(run({"get", "x"}), Complains(3, userFile + ": Permission denied"));
    EXPECT_THAT(run({"set", "integer", "y", "1"}), Complains(3, userFile + ": Permission denied"));
}

TEST_F(Failures, CausedByAFullDiskKeepTheOldFile) {
    EXPECT_THAT(runOnAFullDisk(setting), Complains(3, "not saved: " + userFile + ": File too large"));
    EXPECT_EQ(saved, bytesOf(userFile));
    EXPECT_EQ("old\n", answer({"get", "x"}));
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(user), {}));
}

TEST_F(Failures, ToRestoreOnAFullDiskKeepBothFiles) {
    // The file is only slightly larger than the limit, so the last write fails.
    for (char const* const name : {"a", "b", "c", "d", "e", "f", "g", "h"})
        answer({"set", "string", name, std::string(room / 8, 'l')});
    std::string const previous = bytesOf(userFile);
    answer({"delete", "a"});
    std::string const current = bytesOf(userFile);
    ASSERT_EQ(previous, bytesOf(userFile + ".previous"));
    EXPECT_THAT(runOnAFullDisk({"restore", "previous"}),
                Complains(3, "not saved: " + userFile + ": File too large"));
    EXPECT_EQ(current, bytesOf(userFile));
    EXPECT_EQ(previous, bytesOf(userFile + ".previous"));
    EXPECT_EQ(2, std::distance(std::filesystem::directory_iterator(user), {}));
}

TEST_F(Failures, ToWriteTheOutputAreReported) {
    std::filesystem::remove(outPath());
    std::filesystem::create_symlink("/dev/full", outPath());
    for (Arguments const& arguments :
         {Arguments{"list"}, {"get", "x"}, {"export"}, {"check"}, {"--help"}, {"--version"}}) {
        Arguments all = {"--user", user};
        all.insert(all.end(), arguments.begin(), arguments.end());
        int status = 0;
        ::waitpid(start(all), &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 3) << arguments.front();
        EXPECT_EQ("velmorand-register: cannot write to standard output\n", bytesOf(errPath()));
    }
}

TEST_F(Failures, CausedByClosedStandardStreamsAreReported) {
    auto const runWithout = [this](std::string const& closed, std::string const& arguments) {
        std::string const command =
            VELMORAND_TOOL " --user '" + user + "' " + arguments + " 2>'" + errPath() + "' " + closed;
        int const status = std::system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    };
    EXPECT_EQ(3, runWithout("1>&-", "get x"));
    EXPECT_EQ("velmorand-register: cannot write to standard output\n", bytesOf(errPath()));
    EXPECT_EQ(2, runWithout("0<&-", "import -"));
    EXPECT_EQ("velmorand-register: standard input: Bad file descriptor\n", bytesOf(errPath()));
    EXPECT_EQ(0, runWithout("0<&- 1>&- 2>&-", "set integer y 1"));
    EXPECT_EQ(1, runWithout("0<&- 1>&- 2>&-", "get z"));
    EXPECT_EQ("1\n", answer({"get", "y"}));
}
