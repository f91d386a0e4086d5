// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <filesystem>
#include <set>

#include <fcntl.h>
#include <sys/stat.h>

#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

#include "Tool.h"

using namespace tool;

namespace {

constexpr char const* damagedName = "Velmorand.dat.damaged-20261121T093000Z";

/** The tool with a register file in which "x" is 2, and a previous file in which "x" is 1. */
class Copies : public Tool {
protected:
    Copies() {
        answer({"set", "integer", "x", "1"});
        one = bytesOf(userFile);
        answer({"set", "integer", "x", "2"});
        two = bytesOf(userFile);
    }

    [[nodiscard]] std::set<std::string> files() const {
        std::set<std::string> names;
        for (auto const& entry : std::filesystem::directory_iterator(user))
            names.insert(entry.path().filename().string());
        return names;
    }

    /** The path of the only damaged file that was kept; empty if none was kept. */
    [[nodiscard]] std::string theDamagedFile() const {
        std::set<std::string> const names = files();
        auto const name = names.lower_bound("Velmorand.dat.damaged-");
        return name == names.end() ? std::string() : user + '/' + *name;
    }

    /** Creates a copy whose modification time is `written`. */
    void putCopy(std::string const& name, std::string const& bytes, time_t written) const {
        std::string const path = user + '/' + name;
        putBytes(path, bytes);
        setTime(path, written);
    }

    static void setTime(std::string const& path, time_t written) {
        struct timespec const times[] = {{written, 0}, {written, 0}};
        EXPECT_EQ(0, ::utimensat(AT_FDCWD, path.c_str(), times, 0));
    }

    /** Matches an empty list of copies, with a note on standard error. */
    static auto SaysThatNoneAreKept(std::string const& path) {
        return testing::AllOf(
            testing::Field(&Outcome::status, 0), testing::Field(&Outcome::out, ""),
            testing::Field(&Outcome::err, "velmorand-register: note: no copies of " + path + "\n"));
    }

    std::string previousFile = userFile + ".previous";
    std::string damagedFile = user + '/' + damagedName;
    std::string one;
    std::string two;
};

} // namespace

TEST_F(Copies, AreListedNewestFirstInLocalTime) {
    ::setenv("TZ", "Test-2", 1); // two hours east of Greenwich
    setTime(previousFile, 1'000'000'000);
    putCopy(damagedName, "garbage", 1'000'000'001);
    putCopy("Velmorand.dat.damaged-20261121T093000Z-2", two, 999'999'999);
    putCopy("Velmorand.dat.damaged-20251121T093000Z", two.substr(0, two.size() - 1), 0);
    std::string const lines = answer({"restore"});
    EXPECT_THAT(
        lines, testing::MatchesRegex("2001-09-09T03:46:41.0200  [^ ]*-20261121T093000Z: not a register file\n"
                                     "2001-09-09T03:46:40.0200  Velmorand.dat.previous: 1 property\n"
                                     "2001-09-09T03:46:39.0200  [^ ]*-20261121T093000Z-2: 1 property\n"
                                     "1970-01-01T02:00:00.0200  [^ ]*-20251121T093000Z: [^\n]+\n"));
    EXPECT_THAT(lines, testing::StartsWith("2001-09-09T03:46:41+0200  "));
    EXPECT_THAT(lines, testing::Not(testing::HasSubstr("Z: 1 property")));
}

TEST_F(Copies, ExcludeOtherFilesInTheDirectory) {
    std::filesystem::remove(previousFile);
    for (char const* const other :
         {"Velmorand.dat.bak", "Velmorand.dat.damaged-\x1b[2J", "Other.dat.previous",
          ".Velmorand.dat.previous", "Velmorand.dat.previous~"})
        putBytes(user + '/' + other, one);
    EXPECT_THAT(run({"restore"}), SaysThatNoneAreKept(userFile));
}

TEST_F(Copies, AreNotRequiredToExist) {
    EXPECT_THAT(runBare({"restore"}), SaysThatNoneAreKept(at(".config/velmorand/Velmorand.dat")));
    EXPECT_THAT(runBare({"restore", "previous"}),
                Complains(1, "no such copy: previous (no copies of " + at(".config/velmorand/Velmorand.dat") +
                                 ")\n"));
    EXPECT_FALSE(std::filesystem::exists(at(".config")));
}

TEST_F(Copies, RestoredTwiceAreUnchanged) {
    EXPECT_EQ("1 set\n", answer({"restore", "previous"}));
    EXPECT_EQ(one, bytesOf(userFile));
    EXPECT_EQ(two, bytesOf(previousFile));
    answer({"restore", "Velmorand.dat.previous"});
    EXPECT_EQ(two, bytesOf(userFile));
    EXPECT_EQ(one, bytesOf(previousFile));
    EXPECT_THAT(files(), testing::ElementsAre("Velmorand.dat", "Velmorand.dat.previous"));
}

TEST_F(Copies, AreKeptWhenTheyAreRestored) {
    answer({"set", "integer", "x", "3"});
    std::string const three = bytesOf(userFile);
    putBytes(damagedFile, one);
    answer({"restore", damagedName});
    EXPECT_EQ(one, bytesOf(userFile));
    EXPECT_EQ(one, bytesOf(damagedFile));
    EXPECT_EQ(three, bytesOf(previousFile));
    answer({"restore", "previous"});
    EXPECT_EQ(three, bytesOf(userFile));
    EXPECT_THAT(files(), testing::ElementsAre("Velmorand.dat", damagedName, "Velmorand.dat.previous"));
}

TEST_F(Copies, WithTheSameSettingsChangeNothing) {
    putBytes(damagedFile, two);
    EXPECT_EQ("nothing changed\n", answer({"restore", damagedName}));
    EXPECT_EQ(two, bytesOf(userFile));
    EXPECT_EQ(one, bytesOf(previousFile));
}

TEST_F(Copies, AreComparedWithTheFileThatTheyReplace) {
    answer({"import", "--replace", "-"},
           R"({"x": {"type": "integer", "value": 3}, "y": {"type": "integer", "value": 1}})");
    EXPECT_EQ("1 set, 1 removed\n", answer({"restore", "previous"}));
}

TEST_F(Copies, ThatReplaceADamagedFileAreCountedInFull) {
    answer({"set", "integer", "y", "1"});
    answer({"set", "integer", "z", "1"});
    putBytes(userFile, "garbage");
    EXPECT_EQ("2 set\n", answer({"restore", "previous"}));
}

TEST_F(Copies, WithoutSettingsReplaceADamagedFile) {
    answer({"delete", "x"});
    std::string const nothing = bytesOf(userFile);
    answer({"set", "integer", "x", "1"});
    putBytes(userFile, "garbage");
    EXPECT_EQ("0 set\n", answer({"restore", "previous"}));
    EXPECT_EQ(nothing, bytesOf(userFile));
}

TEST_F(Copies, ThatAreDamagedAreRefused) {
    putBytes(damagedFile, two.substr(0, two.size() - 1));
    std::string const damage = bytesOf(damagedFile);
    EXPECT_THAT(run({"restore", damagedName}), Complains(3, damagedFile + ": "));
    EXPECT_EQ(two, bytesOf(userFile));
    EXPECT_EQ(one, bytesOf(previousFile));
    EXPECT_EQ(damage, bytesOf(damagedFile));
    EXPECT_EQ(3U, files().size());
}

TEST_F(Copies, AreNotFoundByOtherNames) {
    putBytes(at("Velmorand.dat.previous"), one);
    for (std::string const& name :
         {std::string("missing"), std::string("Velmorand.dat"), std::string(damagedName),
          std::string("../Velmorand.dat.previous"), previousFile, std::string()})
        EXPECT_THAT(run({"restore", name}), Complains(1, "no such copy: " + name)) << name;
    EXPECT_EQ(two, bytesOf(userFile));
}

TEST_F(Copies, ThatExistAreListedIfAnotherIsAskedFor) {
    EXPECT_THAT(run({"restore", "older"}),
                Complains(1, "no such copy: older (copies in " + user + ": Velmorand.dat.previous)\n"));
    putCopy(damagedName, "garbage", 0);
    EXPECT_THAT(run({"restore", "older"}),
                Complains(1, "no such copy: older (copies in " + user + ": Velmorand.dat.previous, " +
                                 damagedName + ")\n"));
}

TEST_F(Copies, ReplaceAMissingFile) {
    std::filesystem::remove(userFile);
    answer({"restore", "previous"});
    EXPECT_EQ(one, bytesOf(userFile));
    EXPECT_EQ(one, bytesOf(previousFile));
}

TEST_F(Copies, ReplaceADamagedFileAndKeepIt) {
    putBytes(at("damaged"), "garbage");
    std::filesystem::rename(at("damaged"), userFile);
    answer({"restore", "previous"});
    EXPECT_EQ(one, bytesOf(userFile));
    EXPECT_EQ("garbage", bytesOf(theDamagedFile()));
}

TEST_F(Copies, ReplaceADamagedFileAndStay) {
    putBytes(userFile, "garbage");
    answer({"restore", "previous"});
    EXPECT_EQ(one, bytesOf(previousFile));
    EXPECT_EQ(3U, files().size());
}

TEST_F(Copies, ReplaceADamagedFileThatHasNoPreviousOne) {
    std::filesystem::remove(previousFile);
    putBytes(damagedFile, one);
    putBytes(userFile, "garbage");
    answer({"restore", damagedName});
    EXPECT_EQ(one, bytesOf(userFile));
    EXPECT_FALSE(std::filesystem::exists(previousFile));
    EXPECT_EQ(3U, files().size());
}

TEST_F(Copies, ReplaceADamagedFileAndLeaveTheNewestFiveDamagedOnes) {
    for (char const digit : {'1', '2', '3', '4', '5'})
        putBytes(user + "/Velmorand.dat.damaged-20011121T09300" + digit + 'Z', "garbage");
    putBytes(user + "/Velmorand.dat.damaged-notes", "notes");
    putBytes(userFile, "damaged");
    answer({"restore", "previous"});
    std::set<std::string> const names = files();
    EXPECT_EQ(8U, names.size());
    EXPECT_EQ(0U, names.count("Velmorand.dat.damaged-20011121T093001Z"));
    EXPECT_EQ(1U, names.count("Velmorand.dat.damaged-20011121T093002Z"));
    EXPECT_EQ(1U, names.count("Velmorand.dat.damaged-notes"));
}

TEST_F(Copies, DoNotReplaceAFileThatCannotBeRead) {
    obeyPermissions();
    std::filesystem::permissions(userFile, std::filesystem::perms::none);
    EXPECT_THAT(run({"restore", "previous"}),
                Complains(3, "velmorand-register: " + userFile + ": Permission denied\n"));
    EXPECT_EQ(2U, files().size());
    std::filesystem::permissions(userFile, std::filesystem::perms::owner_all);
    EXPECT_EQ(two, bytesOf(userFile));
    EXPECT_EQ(one, bytesOf(previousFile));
}

TEST_F(Copies, OfTheGlobalFileAreInItsDirectory) {
    Arguments const onGlobal{"--global", global, "--scope", "global"};
    auto const runOnGlobal = [&](Arguments const& arguments) {
        Arguments all = onGlobal;
        all.insert(all.end(), arguments.begin(), arguments.end());
        return answer(all);
    };
    runOnGlobal({"set", "integer", "x", "3"});
    Arguments listing = onGlobal;
    listing.emplace_back("restore");
    EXPECT_THAT(run(listing), SaysThatNoneAreKept(globalFile));
    runOnGlobal({"set", "integer", "x", "4"});
    EXPECT_THAT(runOnGlobal({"restore"}), testing::EndsWith("  Velmorand.dat.previous: 1 property\n"));
    runOnGlobal({"restore", "previous"});
    EXPECT_EQ("3\n", runOnGlobal({"get", "x"}));
    EXPECT_EQ(two, bytesOf(userFile));
}

TEST_F(Copies, LeftByAKilledRestoreCanBeRestored) {
    putBytes(userFile + ".previous.old", one);
    putBytes(previousFile, two);
    EXPECT_THAT(answer({"restore"}), testing::HasSubstr("  Velmorand.dat.previous.old: 1 property\n"));
    answer({"restore", "Velmorand.dat.previous.old"});
    EXPECT_EQ(one, bytesOf(userFile));
    EXPECT_THAT(files(), testing::ElementsAre("Velmorand.dat", "Velmorand.dat.previous"));
}

TEST_F(Copies, AreSeenByRunningApplications) {
    velmorand::LiveSettings live({user, global, std::chrono::milliseconds(100), {}});
    EXPECT_EQ(2, velmorand::read<int>("x"));
    answer({"restore", "previous"});
    EXPECT_TRUE(live.sync().saved);
    EXPECT_EQ(1, velmorand::read<int>("x"));
    EXPECT_EQ(one, bytesOf(userFile));
}
