// SPDX-License-Identifier: Apache-2.0
#include <velmorand/Initialize.h>
#include <velmorand/Property.h>

#include "Declared.h"

using namespace tool;

namespace {

/** The tool with settings that the administrator has locked. */
class Locking : public Declared {
protected:
    std::string administer(Arguments arguments) {
        arguments.insert(arguments.begin(), {"--global", global});
        return answer(arguments);
    }

    void setGlobally(Arguments arguments) {
        arguments.insert(arguments.begin(), {"--scope", "global", "set"});
        administer(arguments);
    }

    Outcome runOnBoth(Arguments arguments) {
        arguments.insert(arguments.begin(), {"--global", global});
        return run(arguments);
    }

    std::string list() { return administer({"--scope", "global", "get", "velmorand/locked"}); }
};

} // namespace

TEST_F(Locking, ListsNamesInTheGlobalFile) {
    EXPECT_EQ("locked: editor/theme\nlocked: viewer\n", administer({"lock", "editor/theme", "/viewer/"}));
    EXPECT_EQ("editor/theme\nviewer\n", list());
    EXPECT_EQ("locked: a\n", administer({"--scope", "global", "lock", "a"}));
    EXPECT_EQ("editor/theme\nviewer\na\n", list());
    EXPECT_EQ("no file", bytesOf(userFile));
}

TEST_F(Locking, HasNoEffectInTheUsersFileWhichANotePointsOut) {
    std::string const note =
        "velmorand-register: note: \"velmorand/locked\" has no effect in a user's settings (use "
        "--global DIR --scope global for the administrator's)\n";
    std::string const list = R"({"velmorand/locked": {"type": "strings", "value": ["a"]}})";
    EXPECT_EQ(note, run({"import", "--dry-run", "-"}, list).err);
    EXPECT_EQ(note, run({"import", "-"}, list).err);
    EXPECT_EQ("nothing changed\n", answer({"import", "-"}, list));
    EXPECT_EQ(note, run({"set", "strings", "velmorand/locked", "b"}).err);
    std::string const object = R"({"velmorand": {"locked": ["c"]}})";
    EXPECT_EQ(note, run({"import", "--from", "json", "--overwrite", "--dry-run", "-"}, object).err);
    EXPECT_EQ(note, run({"import", "--from", "json", "--overwrite", "-"}, object).err);
    answer({"set", "integer", "a", "1"});
    answer({"delete", "velmorand/locked"});
}

TEST_F(Locking, ByImportNeedsNoNote) {
    EXPECT_EQ("1 set\n", answer({"--global", global, "--scope", "global", "import", "-"},
                                R"({"velmorand/locked": {"type": "strings", "value": ["a"]}})"));
    EXPECT_EQ("a\n", list());
}

TEST_F(Locking, AppliesToApplications) {
    setGlobally({"integer", "viewer/zoom", "50"});
    answer({"set", "integer", "viewer/zoom", "75"});
    administer({"lock", "viewer"});
    velmorand::initialize(global, user);
    EXPECT_TRUE(velmorand::isLocked("viewer/zoom"));
    EXPECT_EQ(50, velmorand::read<int>("viewer/zoom"));
}

TEST_F(Locking, MayBeRepeated) {
    administer({"lock", "editor"});
    std::string const before = bytesOf(globalFile);
    EXPECT_EQ("already locked: editor\nalready locked: editor/theme (through editor)\n",
              administer({"lock", "editor/", "editor/theme"}));
    EXPECT_EQ(before, bytesOf(globalFile));
}

TEST_F(Locking, WarnsOfANameThatIsSimilarToADeclaredOne) {
    Outcome const outcome = runOnBoth({"lock", "editor/theem", "editor/theme", "editor/other"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("locked: editor/theem\nlocked: editor/theme\nlocked: editor/other\n", outcome.out);
    EXPECT_EQ(
        "velmorand-register: warning: \"editor/theem\" is not declared (did you mean \"editor/theme\"?)\n",
        outcome.err);
}

TEST_F(Locking, WarnsOfANameThatIsSimilarToADeclaredGroup) {
    Outcome const outcome = runOnBoth({"lock", "viewers", "editor/views"});
    EXPECT_EQ(
        "velmorand-register: warning: \"viewers\" is not declared (did you mean \"viewer\"?)\n"
        "velmorand-register: warning: \"editor/views\" is not declared (did you mean \"editor/view\"?)\n",
        outcome.err);
    EXPECT_EQ("locked: editor/view\nlocked: viewer\n", administer({"lock", "editor/view", "viewer"}));
}

TEST_F(Locking, WarnsOfAMisspeltNameThatIsAlreadyLocked) {
    runOnBoth({"lock", "editor/theem"});
    Outcome const outcome = runOnBoth({"lock", "editor/theem"});
    EXPECT_EQ("already locked: editor/theem\n", outcome.out);
    EXPECT_THAT(outcome.err, testing::HasSubstr("did you mean \"editor/theme\"?"));
}

TEST_F(Locking, PrintsNamesWithEscapes) {
    EXPECT_EQ("locked: a\\nb\n", administer({"lock", "a\nb"}));
    EXPECT_EQ("locked: [a,b]\n", administer({"lock", "[a,b]"}));
}

TEST_F(Locking, CanBeUndone) {
    administer({"lock", "editor/theme", "viewer"});
    EXPECT_EQ("unlocked: viewer\nnot locked: editor/size\n",
              administer({"unlock", "//viewer", "editor/size"}));
    EXPECT_EQ("editor/theme\n", list());
}

TEST_F(Locking, LeavesNoListWhenEverythingIsUnlocked) {
    setGlobally({"integer", "viewer/zoom", "50"});
    std::string const before = bytesOf(globalFile);
    administer({"lock", "viewer", "editor"});
    administer({"unlock", "editor", "viewer"});
    EXPECT_EQ(before, bytesOf(globalFile));
}

TEST_F(Locking, OfAGroupCannotBeUndoneForANameInIt) {
    administer({"lock", "viewer", "editor"});
    EXPECT_THAT(runOnBoth({"unlock", "viewer", "editor/theme"}),
                Complains(1, ": cannot unlock \"editor/theme\": the group \"editor\" is locked (unlock "
                             "that group)\n"));
    EXPECT_EQ("viewer\neditor\n", list());
}

TEST_F(Locking, OfAGroupStillAppliesToANameThatIsUnlocked) {
    administer({"lock", "editor/theme", "editor"});
    EXPECT_THAT(runOnBoth({"set", "number", "editor/size", "12"}),
                Complains(2, "the administrator has locked \"editor\""));
    EXPECT_EQ("still locked: editor/theme (through editor)\n", administer({"unlock", "editor/theme"}));
    EXPECT_EQ("editor\n", list());
}

TEST_F(Locking, NeedsTheGlobalDirectoryAndNames) {
    EXPECT_THAT(run({"lock", "a"}), ShowsUsage("lock needs --global DIR"));
    EXPECT_THAT(run({"unlock", "a"}), ShowsUsage("unlock needs --global DIR"));
    EXPECT_THAT(runOnBoth({"--scope", "user", "lock", "a"}),
                ShowsUsage("lock changes only the global register file"));
    EXPECT_THAT(runOnBoth({"lock"}), ShowsUsage("NAME is required"));
    EXPECT_THAT(runOnBoth({"unlock"}), ShowsUsage("NAME is required"));
    EXPECT_THAT(runOnBoth({"lock", "a", ""}), ShowsUsage("the name is empty"));
    EXPECT_THAT(runOnBoth({"lock", "a", "a/../b"}), Complains(2, "a level cannot be \".\" or \"..\""));
    EXPECT_EQ("no file", bytesOf(globalFile));
}

TEST_F(Locking, DoesNotChangeAListOfAnotherType) {
    setGlobally({"string", "velmorand/locked", "a"});
    std::string const expected = ": cannot change the list of locks, \"velmorand/locked\": a string is not "
                                 "allowed: expected a list of "
                                 "strings (delete it first)\n";
    EXPECT_THAT(runOnBoth({"lock", "a"}), Complains(3, expected));
    EXPECT_THAT(runOnBoth({"unlock", "a"}), Complains(3, expected));
    setGlobally({"string", "velmorand/group/a", "a"});
    administer({"--scope", "global", "delete", "velmorand/locked"});
    setGlobally({"string", "velmorand/locked/a", "a"});
    EXPECT_THAT(runOnBoth({"lock", "a"}), Complains(3, "\"velmorand/locked\": a group is not allowed"));
}

TEST_F(Locking, KeepsEntriesThatAreNotNames) {
    setGlobally({"strings", "velmorand/locked", "", "a"});
    administer({"lock", "b"});
    EXPECT_EQ("\na\nb\n", list());
}

TEST_F(Locking, IsReportedByCheckIfTheListIsInvalid) {
    administer({"lock", "a"});
    EXPECT_EQ(0, runOnBoth({"--scope", "global", "check"}).status);
    setGlobally({"strings", "velmorand/locked", "a", "b/../c"});
    Outcome outcome = runOnBoth({"--scope", "global", "check"});
    EXPECT_EQ(4, outcome.status);
    EXPECT_EQ("velmorand-register: warning: " + globalFile +
                  ": \"velmorand/locked\": element 2: \"b/../c\" is not a valid name\n",
              outcome.err);
    EXPECT_EQ(globalFile + ": 1 property, 1 warning\n", outcome.out);
    setGlobally({"strings", "velmorand/locked", "", "a", "..", "\xFF"});
    outcome = runOnBoth({"--scope", "global", "check"});
    std::string const begin = "velmorand-register: warning: " + globalFile + ": \"velmorand/locked\": ";
    EXPECT_EQ(begin + "element 1: \"\" is not a valid name\n" + begin +
                  "element 3: \"..\" is not a valid name\n" + begin +
                  "element 4: \"\xEF\xBF\xBD\" is not a valid name\n",
              outcome.err);
    EXPECT_EQ(globalFile + ": 1 property, 3 warnings\n", outcome.out);
    setGlobally({"integers", "velmorand/locked", "1"});
    outcome = runOnBoth({"--scope", "global", "check", "--declared"});
    EXPECT_EQ(4, outcome.status);
    EXPECT_THAT(outcome.err,
                testing::EndsWith("a list of integers is not allowed: expected a list of strings\n"));
}

TEST_F(Locking, IsReportedByCheckIfTheListIsAGroup) {
    setGlobally({"strings", "velmorand/locked/x", "a"});
    EXPECT_THAT(
        runOnBoth({"--scope", "global", "check"}).err,
        testing::EndsWith("\"velmorand/locked\": a group is not allowed: expected a list of strings\n"));
}

TEST_F(Locking, IsShownInsteadOfTheScope) {
    setGlobally({"string", "editor/theme", "dark"});
    setGlobally({"integer", "viewer/zoom", "50"});
    answer({"set", "string", "editor/theme", "light"});
    answer({"set", "number", "editor/size", "12"});
    administer({"lock", "editor/theme"});
    EXPECT_EQ("number    user   editor/size: 12.0\n"
              "string    locked editor/theme: \"dark\"\n"
              "strings   global velmorand/locked: [\"editor/theme\"]\n"
              "integer   global viewer/zoom: 50\n",
              administer({"list", "-rl"}));
    EXPECT_EQ("number    user   editor/size\nstring    user   editor/theme\n",
              administer({"--scope", "user", "list", "editor"}));
    EXPECT_EQ("string    locked editor/theme\n", administer({"--scope", "global", "list", "editor"}));
}

TEST_F(Locking, HidesTheUsersValuesFromLists) {
    answer({"set", "string", "editor/theme", "light"});
    answer({"set", "integer", "viewer/zoom", "75"});
    answer({"set", "integer", "viewer/a/b", "75"});
    setGlobally({"integer", "viewer/a", "1"});
    administer({"lock", "editor/theme", "viewer"});
    EXPECT_EQ("string    locked editor/theme: (not set by the administrator)\n"
              "strings   global velmorand/locked: [\"editor/theme\", \"viewer\"]\n"
              "integer   locked viewer/a: 1\n"
              "integer   locked viewer/a/b: (not set by the administrator)\n"
              "integer   locked viewer/zoom: (not set by the administrator)\n",
              administer({"list", "-rl"}));
    EXPECT_EQ("string    locked editor/theme\n", administer({"list", "editor"}));
    EXPECT_EQ("integer   locked viewer/a\n"
              "integer   locked viewer/zoom\n",
              administer({"list", "viewer"}));
}

TEST_F(Locking, IsShownForGroupsThatOnlyTheUserHas) {
    answer({"set", "string", "editor/view/theme", "light"});
    administer({"lock", "editor/view"});
    EXPECT_EQ("group     user   editor\ngroup     global velmorand\n", administer({"list"}));
    EXPECT_EQ("group     locked editor/view\n", administer({"list", "-l", "editor"}));
}

TEST_F(Locking, HidesAPropertyOfTheUserBehindAGroupOfTheAdministrator) {
    answer({"set", "string", "editor/theme", "light"});
    setGlobally({"string", "editor/theme/name", "dark"});
    administer({"lock", "editor"});
    EXPECT_EQ("string    locked editor/theme/name\n", administer({"list", "-r", "editor"}));
}

TEST_F(Locking, IsShownForDeclaredSettings) {
    answer({"set", "string", "editor/theme", "dark"});
    setGlobally({"integer", "viewer/zoom", "50"});
    administer({"lock", "editor/theme", "viewer"});
    std::string const lines = administer({"list", "--declared", "-r"});
    EXPECT_THAT(lines, testing::HasSubstr("string    locked editor/theme: \"light\"\n"));
    EXPECT_THAT(lines, testing::HasSubstr("integer   locked viewer/zoom: 50\n"));
    EXPECT_THAT(lines, testing::HasSubstr("number    unset  editor/size: 11.0"));
}

TEST_F(Locking, MakesTheAdministratorsValueEffective) {
    answer({"set", "string", "editor/theme", "light"});
    administer({"lock", "editor"});
    EXPECT_THAT(
        runOnBoth({"get", "editor/theme"}),
        Complains(1, "no such property: editor/theme (the administrator has locked it but not set it)\n"));
    setGlobally({"string", "editor/theme", "dark"});
    EXPECT_EQ("dark\n", administer({"get", "editor/theme"}));
    EXPECT_EQ("light\n", administer({"--scope", "user", "get", "editor/theme"}));
}

TEST_F(Locking, PreventsSettingTheUsersValue) {
    administer({"lock", "editor"});
    EXPECT_THAT(
        runOnBoth({"set", "string", "editor/theme", "dark"}),
        Complains(2, ": cannot set \"editor/theme\": the administrator has locked \"editor\" (--force sets "
                     "it anyway)\n"));
    EXPECT_THAT(runOnBoth({"--scope", "user", "set", "string", "editor/theme", "dark"}), Complains(2, ""));
    EXPECT_EQ("no file", bytesOf(userFile));
    administer({"lock", "other"});
    EXPECT_THAT(runOnBoth({"set", "string", "other", "dark"}),
                Complains(2, ": cannot set \"other\": the administrator has locked it (--force sets it "
                             "anyway)\n"));
}

TEST_F(Locking, IsOverriddenByForce) {
    administer({"lock", "editor"});
    administer({"--scope", "user", "set", "--force", "string", "editor/theme", "dark"});
    EXPECT_EQ("dark\n", answer({"get", "editor/theme"}));
}

TEST_F(Locking, AllowsSettingTheGlobalValueAndDeletingTheUsers) {
    answer({"set", "string", "editor/theme", "light"});
    administer({"lock", "editor"});
    setGlobally({"string", "editor/theme", "dark"});
    administer({"--scope", "user", "delete", "editor/theme"});
    EXPECT_EQ("dark\n", administer({"get", "editor/theme"}));
}
