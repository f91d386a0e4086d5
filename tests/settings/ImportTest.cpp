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

#include <utils/Exception.h>
#include <velmorand/Group.h>
#include <velmorand/Listener.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

namespace velmorand {

namespace {

using Result = ImportReport::Result;
using Outcome = ImportedSetting::Outcome;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;

/** An application whose old settings are in a JSON file. */
class Import : public ::testing::Test {
protected:
    [[nodiscard]] LiveOptions options() const {
        LiveOptions options;
        options.userDirectory = (directory / "user").string();
        options.globalDirectory = (directory / "global").string();
        options.delay = std::chrono::hours(1); // nothing is saved by the way
        return options;
    }

    void putOld(std::string const& content) const { std::ofstream(old) << content; }

    ImportReport importOld(LiveSettings& live) const { return importOnce(live, "editor", source); }

    /** What a program that starts now finds; its exit status tells. */
    template <class Body>
    [[nodiscard]] int inNewProgram(Body body) const {
        return support::inChild([&] {
            LiveSettings live(options());
            body(live);
        });
    }

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

TEST_F(Import, PutsEverythingInPlaceAndRecordsIt) {
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

TEST_F(Import, OfEachIdIsAMatterOfItsOwn) {
    putOld(R"({"theme": "dark"})");
    LiveSettings live(options());
    importOld(live);
    EXPECT_EQ(Result::imported, importOnce(live, "a/b", {Store::json, old}).result);
    EXPECT_TRUE(Group("velmorand/imported").contains(levelFrom("a/b")));
    EXPECT_THROW(importOnce(live, "", {Store::json, old}), utils::Exception);
}

TEST_F(Import, LooksForAMissingStoreAtEachStart) {
    LiveSettings live(options());
    EXPECT_EQ(Result::nothingThere, importOld(live).result);
    EXPECT_FALSE(Group().contains("velmorand"));
    putOld(R"({"theme": "dark"})");
    EXPECT_EQ(Result::imported, importOld(live).result);
}

TEST_F(Import, KeepsWhatTheUserHasSaved) {
    putOld(R"({"theme": "dark", "size": 1})");
    EXPECT_EQ(0, inNewProgram([](LiveSettings&) { write("editor/theme", "light"); }));
    LiveSettings live(options());
    ImportReport const report = importOld(live);
    EXPECT_EQ(Outcome::kept, outcomeOf(report, "theme"));
    EXPECT_EQ(Outcome::set, outcomeOf(report, "size"));
    EXPECT_EQ("light", read<std::string>("editor/theme"));
}

TEST_F(Import, KeepsWhatThisProcessHasChangedAndNotSaved) {
    putOld(R"({"theme": "dark"})");
    LiveSettings live(options());
    write("editor/theme", "light");
    EXPECT_EQ(Outcome::kept, outcomeOf(importOld(live), "theme"));
    EXPECT_EQ("light", read<std::string>("editor/theme"));
}

TEST_F(Import, KeepsWhatAnotherRunningProgramHasSaved) {
    putOld(R"({"theme": "dark"})");
    LiveSettings live(options());
    EXPECT_EQ(0, std::system(("'" LIVE_PROGRAM "' '" + (directory / "user").string() + "' '" +
                              (directory / "global").string() + "' set editor/theme 5")
                                 .c_str()));
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

TEST_F(Import, NotifiesListenersWhenAllIsInPlace) {
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

TEST_F(Import, OfAStoreThatCannotBeReadChangesNothingAndIsTriedAgain) {
    putOld(R"({"theme": "da)");
    LiveSettings live(options());
    ImportReport const report = importOld(live);
    EXPECT_EQ(Result::failed, report.result);
    EXPECT_THAT(report.reason, HasSubstr(old + ": line 1: not valid JSON"));
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
    EXPECT_THAT(report.reason, HasSubstr("velmorand/imported/editor cannot be set"));
    EXPECT_FALSE(Group().contains("editor"));
}

TEST_F(Import, OfOneSettingMayFailWithoutTheOthers) {
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

/** A document with many settings, so that importing them takes a while. */
std::string manySettings(int count) {
    std::string json = "{";
    for (int i = 0; i < count; ++i)
        json += (i == 0 ? "" : ", ") + ("\"s" + std::to_string(i)) + "\": " + std::to_string(i);
    return json + "}";
}

/** The processes that a test has started, which wait for one signal to go on. */
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

TEST_F(Import, OfProcessesThatStartTogetherOneDoesIt) {
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

TEST_F(Import, OfAProcessThatIsKilledIsWholeOrHasNotHappened) {
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
        ::usleep(static_cast<::useconds_t>(round * 250)); // anywhere between the start and the end
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
    std::cout << done << " of " << rounds << " imports were whole\n";
}

} // namespace

} // namespace velmorand
