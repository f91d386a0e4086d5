// SPDX-License-Identifier: Apache-2.0
#include <velmorand/Import.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem/PrivateDirectory.h>
#include <utils/Exception.h>
#include <velmorand/Catalogue.h>
#include <velmorand/Group.h>
#include <velmorand/Listener.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

#include "support/ChildProcess.h"
#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"

namespace velmorand {

namespace {

using Result = ImportReport::Result;
using Outcome = ImportedSetting::Outcome;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;

/** An application whose old settings are in a JSON file. */
class Import : public ::testing::Test {
protected:
    [[nodiscard]] LiveOptions options() const {
        LiveOptions options;
        options.userDirectory = (directory / "user").string();
        options.globalDirectory = (directory / "global").string();
        options.delay = std::chrono::hours(1); // saves only on request
        return options;
    }

    void putOld(std::string const& content) const { std::ofstream(old) << content; }

    ImportReport importOld(LiveSettings& live) const { return importOnce(live, "editor", source); }

    /** Runs `body` in a new program with live settings. Result: its exit status. */
    template <class Body>
    [[nodiscard]] int inNewProgram(Body body) const {
        return support::inChild([&] {
            LiveSettings live(options());
            body(live);
        });
    }

    /** Runs a program with the given user and administrator directories. */
    void runProgram(char const* users, char const* administrators, std::string const& action) const {
        std::string const command = "'" LIVE_PROGRAM "' '" + (directory / users).string() + "' '" +
                                    (directory / administrators).string() + "' " + action;
        EXPECT_EQ(0, std::system(command.c_str()));
    }

    /** Locks a name in another process, as the administrator. */
    void lock(std::string const& name) const { runProgram("global", "user", "lock " + name); }

    support::TemporaryDirectory directory;
    std::string old = (directory / "old.json").string();
    ImportSource source{Store::json, old, ImportMap("/ -> editor/\n")};
};

Outcome outcomeOf(ImportReport const& report, std::string const& from) {
    for (ImportedSetting const& setting : report.settings)
        if (setting.from == from)
            return setting.outcome;
    ADD_FAILURE() << "no setting " << from;
    return Outcome::refused;
}

/** The reason why a setting was refused. */
std::string refusalOf(ImportReport const& report, std::string const& from) {
    for (ImportedSetting const& setting : report.settings)
        if (setting.from == from && setting.outcome == Outcome::refused)
            return setting.reason;
    ADD_FAILURE() << from << " was not refused";
    return {};
}

TEST_F(Import, ImportsEverythingAndRecordsIt) {
    putOld(R"({"theme": "dark", "window": {"width": 800}})");
    LiveSettings live(options());
    ImportReport const report = importOld(live);
    EXPECT_EQ(Result::imported, report.result);
    EXPECT_EQ("", report.reason);
    ASSERT_EQ(2U, report.settings.size());
    EXPECT_EQ("window/width", report.settings[1].from);
    EXPECT_EQ("editor/window/width", report.settings[1].name);
    EXPECT_EQ(Outcome::set, report.settings[1].outcome);
    EXPECT_EQ("dark", read<std::string>("editor/theme"));
    EXPECT_EQ(800, read<int>("editor/window/width"));
    EXPECT_EQ(old, read<std::string>("velmorand/imported/editor"));
}

TEST_F(Import, IsInTheFileWhenItReturns) {
    putOld(R"({"theme": "dark"})");
    EXPECT_EQ(0, inNewProgram([&](LiveSettings& live) {
                  importOld(live);
                  ::_exit(0); // saves nothing more
              }));
    EXPECT_EQ(0, inNewProgram([](LiveSettings&) {
                  EXPECT_EQ("dark", read<std::string>("editor/theme"));
                  EXPECT_TRUE(Group().contains("velmorand/imported/editor", SCOPE_USER));
              }));
}

TEST_F(Import, HappensOnce) {
    putOld(R"({"theme": "dark"})");
    EXPECT_EQ(0, inNewProgram([&](LiveSettings& live) {
                  EXPECT_EQ(Result::imported, importOld(live).result);
                  putOld(R"({"theme": "light", "new": 1})");
                  EXPECT_EQ(Result::doneBefore, importOld(live).result);
                  Property<std::string>("editor/theme").reset();
              }));
    EXPECT_EQ(0, inNewProgram([&](LiveSettings& live) {
                  EXPECT_EQ(Result::doneBefore, importOld(live).result);
                  EXPECT_FALSE(Group().contains("editor/theme"));
                  EXPECT_FALSE(Group().contains("editor/new"));
              }));
}

TEST_F(Import, HappensAgainOnceTheRecordIsReset) {
    putOld(R"({"theme": "dark"})");
    LiveSettings live(options());
    importOld(live);
    Property<std::string>("velmorand/imported/editor").reset();
    ImportReport const report = importOld(live);
    EXPECT_EQ(Result::imported, report.result);
    EXPECT_EQ(Outcome::unchanged, outcomeOf(report, "theme"));
}

TEST_F(Import, HappensAgainOnceAllSettingsAreRemoved) {
    putOld(R"({"theme": "dark"})");
    LiveSettings live(options());
    importOld(live);
    Group().remove();
    EXPECT_EQ(Result::imported, importOld(live).result);
    EXPECT_EQ("dark", read<std::string>("editor/theme"));
}

TEST_F(Import, DoesNotHappenAgainOnceDeclaredSettingsAreReset) {
    putOld(R"({"theme": "dark"})");
    Property<std::string> const theme{"editor/theme", "light"};
    LiveSettings live(options());
    importOld(live);
    resetDeclaredProperties();
    EXPECT_EQ(Result::doneBefore, importOld(live).result);
    EXPECT_EQ("light", theme.get());
}

TEST_F(Import, OfEachIdIsIndependent) {
    putOld(R"({"theme": "dark"})");
    LiveSettings live(options());
    importOld(live);
    EXPECT_EQ(Result::imported, importOnce(live, "a/b", {Store::json, old}).result);
    EXPECT_TRUE(Group("velmorand/imported").contains(levelFrom("a/b")));
    EXPECT_THROW(importOnce(live, "", {Store::json, old}), utils::Exception);
}

TEST_F(Import, LooksForAMissingStoreAtEveryStart) {
    LiveSettings live(options());
    EXPECT_EQ(Result::nothingThere, importOld(live).result);
    EXPECT_FALSE(Group().contains("velmorand"));
    putOld(R"({"theme": "dark"})");
    EXPECT_EQ(Result::imported, importOld(live).result);
}

TEST_F(Import, KeepsValuesThatTheUserHasSaved) {
    putOld(R"({"theme": "dark", "size": 1})");
    EXPECT_EQ(0, inNewProgram([](LiveSettings&) { write("editor/theme", "light"); }));
    LiveSettings live(options());
    ImportReport const report = importOld(live);
    EXPECT_EQ(Outcome::kept, outcomeOf(report, "theme"));
    EXPECT_EQ(Outcome::set, outcomeOf(report, "size"));
    EXPECT_EQ("light", read<std::string>("editor/theme"));
}

TEST_F(Import, KeepsUnsavedChangesOfThisProcess) {
    putOld(R"({"theme": "dark"})");
    LiveSettings live(options());
    write("editor/theme", "light");
    EXPECT_EQ(Outcome::kept, outcomeOf(importOld(live), "theme"));
    EXPECT_EQ("light", read<std::string>("editor/theme"));
}

TEST_F(Import, KeepsValuesThatAnotherProgramHasSaved) {
    putOld(R"({"theme": "dark"})");
    LiveSettings live(options());
    runProgram("user", "global", "set editor/theme 5");
    EXPECT_EQ(Outcome::kept, outcomeOf(importOld(live), "theme"));
    EXPECT_EQ(5, read<int>("editor/theme"));
}

TEST_F(Import, GivesValuesTheKindsThatTheProgramDeclares) {
    putOld(R"({"size": 12, "long": 5, "recent": "a.txt", "wrong": "x"})");
    Property<double> const size{"editor/size"};
    Property<long long> const large{"editor/long"};
    Property<std::vector<std::string>> const recent{"editor/recent"};
    Property<int> const wrong{"editor/wrong", 7};
    LiveSettings live(options());
    ImportReport const report = importOld(live);
    EXPECT_EQ(12.0, size.get());
    EXPECT_EQ(5, large.get());
    EXPECT_EQ(std::vector<std::string>{"a.txt"}, recent.get());
    EXPECT_EQ(Outcome::refused, outcomeOf(report, "wrong"));
    EXPECT_EQ("\"x\" is not an integer", report.settings[3].reason);
    EXPECT_EQ(7, wrong.get());
}

TEST_F(Import, AcceptsDigitsAndAnyCaseForDeclaredBooleans) {
    source.store = Store::ini;
    putOld("[General]\nbar=1\nwrap=0\nspell=TRUE\nbell=False\n");
    Property<bool> const bar{"editor/bar", false};
    Property<bool> const wrap{"editor/wrap", true};
    Property<bool> const spell{"editor/spell", false};
    Property<bool> const bell{"editor/bell", true};
    LiveSettings live(options());
    importOld(live);
    EXPECT_TRUE(bar.get());
    EXPECT_FALSE(wrap.get());
    EXPECT_TRUE(spell.get());
    EXPECT_FALSE(bell.get());
}

TEST_F(Import, RefusesValuesThatTheDeclarationsDoNotAllow) {
    putOld(R"({"size": 80, "theme": "pink", "sizes": [8, 80], "even": 3, "tabs": 70000, "ok": 12})");
    Property<double> const size{"editor/size", 11.0, range(6.0, 72.0)};
    Property<std::string> const theme{"editor/theme", "light", choices({"light", "dark"})};
    Property<std::vector<double>> const sizes{"editor/sizes", {}, atMost(72.0)};
    Property<int> const even{"editor/even", 2, check([](int n) { return n % 2 == 0; }, "an even number")};
    Property<short> const tabs{"editor/tabs", 4};
    Property<double> const ok{"editor/ok", 11.0, range(6.0, 72.0)};
    LiveSettings live(options());
    ImportReport const report = importOld(live);
    EXPECT_EQ(Result::imported, report.result);
    EXPECT_EQ("80 is not allowed: expected 6 to 72", refusalOf(report, "size"));
    EXPECT_EQ(R"("pink" is not allowed: expected one of "light", "dark")", refusalOf(report, "theme"));
    EXPECT_EQ("element 2: 80 is not allowed: expected at most 72", refusalOf(report, "sizes"));
    EXPECT_EQ("3 is not allowed: expected an even number", refusalOf(report, "even"));
    EXPECT_EQ("70000 is not allowed: expected -32768 to 32767", refusalOf(report, "tabs"));
    EXPECT_THAT(Group("editor").properties(), ElementsAre("ok"));
}

TEST_F(Import, RefusesAKindInTheMapThatDiffersFromTheDeclaration) {
    putOld(R"({"size": 12})");
    source.map = ImportMap("size -> editor/size as integer");
    Property<double> const size{"editor/size", 11.0};
    LiveSettings live(options());
    EXPECT_EQ("expected a number, found an integer", refusalOf(importOld(live), "size"));
    EXPECT_FALSE(size.isSet());
}

TEST_F(Import, UsesTheSecondSettingForANameIfTheFirstIsNotAllowed) {
    putOld(R"({"a": 80, "b": 12})");
    source.map = ImportMap("a -> size\nb -> size");
    Property<double> const size{"size", 11.0, range(6.0, 72.0)};
    LiveSettings live(options());
    ImportReport const report = importOld(live);
    EXPECT_EQ("80 is not allowed: expected 6 to 72", refusalOf(report, "a"));
    EXPECT_EQ(Outcome::set, outcomeOf(report, "b"));
    EXPECT_EQ(12.0, size.get());
}

TEST_F(Import, RefusesLockedSettings) {
    putOld(R"({"theme": "dark", "size": 12})");
    lock("editor/theme");
    LiveSettings live(options());
    ImportReport const report = importOld(live);
    EXPECT_EQ(Result::imported, report.result);
    EXPECT_EQ("the administrator has locked it", refusalOf(report, "theme"));
    EXPECT_EQ(Outcome::set, outcomeOf(report, "size"));
    EXPECT_THAT(Group("editor").properties(SCOPE_USER), ElementsAre("size"));
}

TEST_F(Import, DoesNotImportRefusedSettingsOnceTheyAreUnlocked) {
    putOld(R"({"theme": "dark"})");
    lock("editor/theme");
    LiveSettings live(options());
    importOld(live);
    lock("editor/other");
    live.sync();
    ASSERT_FALSE(isLocked("editor/theme"));
    EXPECT_EQ(Result::doneBefore, importOld(live).result);
    EXPECT_FALSE(Group().contains("editor/theme"));
}

TEST_F(Import, RefusesSettingsInAGroupLockedSinceTheProgramStarted) {
    putOld(R"({"window": {"width": 800}, "size": 12})");
    LiveSettings live(options());
    lock("editor/window");
    ImportReport const report = importOld(live);
    EXPECT_EQ("the administrator has locked \"editor/window\"", refusalOf(report, "window/width"));
    EXPECT_EQ(Outcome::set, outcomeOf(report, "size"));
    EXPECT_FALSE(Group("editor").contains("window", SCOPE_USER));
}

TEST_F(Import, NotifiesListenersOnceAllSettingsAreImported) {
    putOld(R"({"a": 1, "b": 2})");
    LiveSettings live(options());
    std::vector<std::string> heard;
    auto const hear = [&heard](std::string const& name) {
        heard.push_back(name);
        EXPECT_EQ(1, read<int>("editor/a"));
        EXPECT_EQ(2, read<int>("editor/b"));
        EXPECT_TRUE(Group().contains("velmorand/imported/editor"));
    };
    Listener const ofSettings{"editor", hear};
    Listener const ofRecord{"velmorand", hear};
    importOld(live);
    EXPECT_THAT(heard, UnorderedElementsAre("editor/a", "editor/b", "velmorand/imported/editor"));
}

TEST_F(Import, OfAnUnreadableStoreChangesNothingAndMayBeRepeated) {
    putOld(R"({"theme": "da)");
    LiveSettings live(options());
    ImportReport const report = importOld(live);
    EXPECT_EQ(Result::failed, report.result);
    EXPECT_THAT(report.reason, HasSubstr(old + ":1: not valid JSON"));
    EXPECT_FALSE(Group().contains("editor"));
    putOld(R"({"theme": "dark"})");
    EXPECT_EQ(Result::imported, importOld(live).result);
}

TEST_F(Import, ThatCannotBeRecordedChangesNothing) {
    putOld(R"({"theme": "dark"})");
    LiveSettings live(options());
    write("velmorand", 1);
    ImportReport const report = importOld(live);
    EXPECT_EQ(Result::failed, report.result);
    EXPECT_THAT(report.reason, HasSubstr("cannot write \"velmorand/imported/editor\": "));
    EXPECT_FALSE(Group().contains("editor"));
}

TEST_F(Import, ImportsTheOtherSettingsIfSomeAreRefused) {
    putOld(R"({"a": {"b": 1}, "null": null, "ok": 1})");
    LiveSettings live(options());
    write("editor/a", 1);
    ImportReport const report = importOld(live);
    EXPECT_EQ(Result::imported, report.result);
    EXPECT_EQ(Outcome::refused, outcomeOf(report, "a/b"));
    EXPECT_EQ(Outcome::refused, outcomeOf(report, "null"));
    EXPECT_EQ(1, read<int>("editor/ok"));
}

TEST_F(Import, KeepsTheFileThatItReplaces) {
    putOld(R"({"theme": "dark"})");
    LiveSettings live(options());
    write("editor/x", 1);
    importOld(live);
    EXPECT_TRUE(std::filesystem::exists(directory / "user/Velmorand.dat.previous"));
}

TEST_F(Import, HappensOnceEvenIfAnotherProgramHasImportedSinceThisOneStarted) {
    putOld(R"({"theme": "dark"})");
    LiveSettings live(options());
    runProgram("user", "global", "set velmorand/imported/editor 1");
    EXPECT_EQ(Result::doneBefore, importOld(live).result);
    EXPECT_FALSE(Group().contains("editor"));
}

TEST_F(Import, FindsNothingBelowAFile) {
    putOld("{}");
    source.path += "/below";
    LiveSettings live(options());
    EXPECT_EQ(Result::nothingThere, importOld(live).result);
    EXPECT_FALSE(Group().contains("velmorand/imported/editor"));
}

TEST_F(Import, ReportsAStoreThatCannotBeExamined) {
    source.path = (directory / std::string(300, 'n')).string();
    LiveSettings live(options());
    ImportReport const report = importOld(live);
    EXPECT_EQ(Result::failed, report.result);
    EXPECT_EQ(source.path + ": File name too long", report.reason);
}

TEST_F(Import, ReportsAFileOfTheUserThatCannotBeRead) {
    putOld(R"({"theme": "dark"})");
    LiveSettings live(options());
    std::filesystem::create_directory(directory / "user/Velmorand.dat");
    ImportReport const report = importOld(live);
    EXPECT_EQ(Result::failed, report.result);
    EXPECT_EQ((directory / "user/Velmorand.dat").string() + ": Is a directory", report.reason);
}

TEST_F(Import, ReportsAMissingUserDirectory) {
    putOld(R"({"theme": "dark"})");
    LiveSettings live(options());
    std::filesystem::remove_all(directory / "user");
    ImportReport const report = importOld(live);
    EXPECT_EQ(Result::failed, report.result);
    EXPECT_EQ((directory / "user").string() + ": No such file or directory", report.reason);
}

TEST_F(Import, ReportsThatTheFileCannotBeReplaced) {
    putOld(R"({"theme": "dark"})");
    LiveSettings live(options());
    ImportReport const report = [&] {
        support::FileSizeLimit const limit(0);
        return importOld(live);
    }();
    EXPECT_EQ(Result::failed, report.result);
    EXPECT_EQ((directory / "user/Velmorand.dat").string() + ": File too large", report.reason);
    EXPECT_FALSE(Group().contains("editor"));
}

TEST_F(Import, ReportsThatAnotherProcessHoldsTheLockForTooLong) {
    putOld(R"({"theme": "dark"})");
    LiveSettings live(options());
    filesystem::DirectoryLock other;
    ASSERT_EQ(filesystem::DirectoryLock::Outcome::taken,
              other.take((directory / "user").string(), std::chrono::milliseconds(0)));
    ImportReport const report = importOld(live);
    EXPECT_EQ(Result::failed, report.result);
    EXPECT_EQ((directory / "user").string() + ": another process has held the lock for too long",
              report.reason);
}

/** A document with many settings, so that importing them takes a while. */
std::string manySettings(int count) {
    std::string json = "{";
    for (int i = 0; i < count; ++i)
        json += (i == 0 ? "" : ", ") + ("\"s" + std::to_string(i)) + "\": " + std::to_string(i);
    return json + "}";
}

/** Starts processes that wait for a common signal. */
class Starters {
public:
    Starters() { EXPECT_EQ(0, ::pipe(_gate.data())); }
    Starters(Starters const&) = delete;
    Starters& operator=(Starters const&) = delete;
    ~Starters() {
        for (int const end : _gate)
            ::close(end);
    }

    template <class Body>
    ::pid_t start(Body body) {
        ::pid_t const child = ::fork();
        if (child == 0) {
            ::close(_gate[1]);
            char byte = 0;
            static_cast<void>(::read(_gate[0], &byte, 1)); // until the gate is closed
            ::_exit(body());
        }
        return child;
    }

    void go() {
        ::close(_gate[1]);
        _gate[1] = ::dup(_gate[0]);
    }

    static int statusOf(::pid_t child) {
        int status = 0;
        EXPECT_EQ(child, ::waitpid(child, &status, 0));
        return status;
    }

private:
    std::array<int, 2> _gate{};
};

TEST_F(Import, IsDoneByOneOfSeveralProcessesThatStartTogether) {
    constexpr int count = 300;
    putOld(manySettings(count));
    for (int round = 0; round < 50; ++round) {
        std::filesystem::remove_all(directory / "user");
        Starters starters;
        auto const application = [this] {
            LiveSettings live(options());
            ImportReport const report = importOld(live);
            bool const isWhole = Group("editor").properties().size() == count;
            return isWhole && report.reason.empty() ? static_cast<int>(report.result) : 99;
        };
        std::array const children{starters.start(application), starters.start(application),
                                  starters.start(application)};
        starters.go();
        std::multiset<int> results;
        for (::pid_t const child : children)
            results.insert(WEXITSTATUS(Starters::statusOf(child)));
        std::multiset<int> const one{static_cast<int>(Result::imported), static_cast<int>(Result::doneBefore),
                                     static_cast<int>(Result::doneBefore)};
        ASSERT_EQ(one, results) << "round " << round;
    }
}

TEST_F(Import, ByAProcessThatIsKilledIsCompleteOrHasNoEffect) {
    constexpr int count = 300;
    putOld(manySettings(count));
    int done = 0;
    constexpr int rounds = 60;
    for (int round = 0; round < rounds; ++round) {
        std::filesystem::remove_all(directory / "user");
        Starters starters;
        ::pid_t const child = starters.start([this] {
            LiveSettings live(options());
            importOld(live);
            ::pause();
            return 0;
        });
        starters.go();
        ::usleep(static_cast<::useconds_t>(round * 250)); // at any point between the start and the end
        ::kill(child, SIGKILL);
        Starters::statusOf(child);
        int const status = inNewProgram([&](LiveSettings& live) {
            bool const isRecorded = Group().contains("velmorand/imported/editor");
            EXPECT_EQ(isRecorded ? count : 0, Group("editor").properties().size());
            EXPECT_EQ(isRecorded ? Result::doneBefore : Result::imported, importOld(live).result);
            EXPECT_EQ(count, Group("editor").properties().size());
            std::exit(HasFailure() ? 1 : isRecorded ? 2 : 3);
        });
        ASSERT_THAT(status, testing::AnyOf(2, 3)) << "round " << round;
        done += status == 2 ? 1 : 0;
    }
    std::cout << done << " of " << rounds << " imports were completed\n";
}

} // namespace

} // namespace velmorand
