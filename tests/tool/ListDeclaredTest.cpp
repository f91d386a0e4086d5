// SPDX-License-Identifier: Apache-2.0
#include "Declared.h"

using namespace tool;

namespace {

class ListDeclared : public Declared {
protected:
    void setGlobally(Arguments arguments) {
        arguments.insert(arguments.begin(), {"--global", global, "--scope", "global", "set"});
        answer(arguments);
    }
};

} // namespace

TEST_F(ListDeclared, ShowsFallbacksAndDescriptions) {
    EXPECT_EQ("string    unset  editor/autosave: \"30s\"  # Time between two automatic saves\n"
              "number    unset  editor/count: 0.0\n"
              "string    unset  editor/history: (computed by the program)\n"
              "string    unset  editor/id: \"0\"\n"
              "integers  unset  editor/margins: [1, 2]\n"
              "number    unset  editor/size: 11.0  # Font size, in points\n"
              "string    unset  editor/theme: \"light\"\n"
              "boolean   unset  editor/view/wrap: true\n"
              "integer   unset  viewer/zoom: 100\n",
              answer({"list", "--declared", "-r"}));
}

TEST_F(ListDeclared, ShowsAllowedValuesOnRequest) {
    answer({"set", "number", "editor/size", "12.5"});
    EXPECT_EQ(
        "string    unset  editor/autosave: \"30s\" (allowed: a duration such as 1.5s (units: ns, us, ms, "
        "s, min, h, d) of at least 1s)  # Time between two automatic saves\n"
        "number    unset  editor/count: 0.0 (allowed: a whole number from 0 to 4294967295)\n"
        "string    unset  editor/history: (computed by the program)\n"
        "string    unset  editor/id: \"0\" (allowed: a whole number as a string from "
        "-9223372036854775808 to 9223372036854775807)\n"
        "integers  unset  editor/margins: [1, 2] (allowed: a list of integers from 0 to 9)\n"
        "number    user   editor/size: 12.5 (allowed: a number from 6 to 72)  # Font size, in points\n"
        "string    unset  editor/theme: \"light\" (allowed: a string, one of \"light\", \"dark\")\n"
        "boolean   unset  editor/view/wrap: true\n"
        "integer   unset  viewer/zoom: 100\n",
        answer({"list", "--declared", "-rl"}));
}

TEST_F(ListDeclared, DoesNotRepeatTheAllowedValuesForAnInvalidValue) {
    answer({"set", "--force", "number", "editor/size", "99"});
    EXPECT_THAT(answer({"list", "--declared", "-l", "editor"}),
                testing::HasSubstr("editor/size: 99.0 (invalid: expected a number from 6 to 72)  # Font"));
}

TEST_F(ListDeclared, ShowsNoLimitsThatHaveNoEffect) {
    declare(R"("a/x": {"type": "string", "format": "date", "minimum": "2000-01-01", "fallback": ""})");
    EXPECT_EQ("string    unset  a/x: \"\"\n", answer({"list", "--declared", "-rl"}));
}

TEST_F(ListDeclared, ShowsEffectiveValues) {
    setGlobally({"string", "editor/theme", "dark"});
    setGlobally({"number", "editor/size", "20"});
    answer({"set", "number", "editor/size", "12.5"});
    std::string const lines = answer({"--global", global, "list", "--declared", "editor"});
    EXPECT_THAT(lines, testing::HasSubstr("number    user   editor/size: 12.5  # Font size, in points\n"));
    EXPECT_THAT(lines, testing::HasSubstr("string    global editor/theme: \"dark\"\n"));
}

TEST_F(ListDeclared, ReadsTheGivenScope) {
    setGlobally({"integer", "viewer/zoom", "50"});
    answer({"set", "integer", "viewer/zoom", "75"});
    EXPECT_EQ("integer   global viewer/zoom: 50\n",
              answer({"--global", global, "--scope", "global", "list", "--declared", "viewer"}));
    EXPECT_EQ("integer   unset  viewer/zoom: 100\n",
              answer({"--scope", "temporary", "list", "--declared", "viewer"}));
}

TEST_F(ListDeclared, ShowsGroupsInsteadOfTheirSettings) {
    answer({"set", "integer", "viewer/zoom", "75"});
    EXPECT_EQ("group     unset  editor\n"
              "group     user   viewer\n",
              answer({"list", "--declared"}));
    EXPECT_THAT(
        answer({"list", "--declared", "editor"}),
        testing::EndsWith("\nstring    unset  editor/theme: \"light\"\ngroup     unset  editor/view\n"));
}

TEST_F(ListDeclared, OmitsUndeclaredSettings) {
    answer({"set", "integer", "viewer/other", "1"});
    EXPECT_EQ("integer   unset  viewer/zoom: 100\n", answer({"list", "--declared", "-l", "viewer"}));
}

TEST_F(ListDeclared, SortsLikeOtherLists) {
    declare(R"("a0": {"type": "string"}, "a/x": {"type": "string"}, "a-b": {"type": "string"})");
    EXPECT_EQ("string    unset  a-b: (computed by the program)\n"
              "group     unset  a\n"
              "string    unset  a0: (computed by the program)\n",
              answer({"list", "--declared"}));
}

TEST_F(ListDeclared, MarksValuesThatAreNotAllowed) {
    answer({"set", "--force", "number", "editor/size", "99"});
    answer({"set", "--force", "string", "viewer/zoom", "big"});
    answer({"set", "--force", "integer", "editor/view/wrap/x", "1"});
    EXPECT_THAT(
        answer({"list", "--declared", "editor"}),
        testing::HasSubstr("number    user   editor/size: 99.0 (invalid: expected a number from 6 to 72)"
                           "  # Font size, in points\n"));
    EXPECT_EQ("group     user   editor/view/wrap: (invalid: expected a boolean)\n",
              answer({"list", "--declared", "editor/view"}));
    EXPECT_EQ("string    user   viewer/zoom: \"big\" (invalid: expected an integer)\n",
              answer({"list", "--declared", "viewer"}));
}

TEST_F(ListDeclared, KeepsEachSettingOnItsLine) {
    declare(R"("x\ny": {"type": "string", "fallback": "a\nb", "description": "c\nd \u001b"})");
    EXPECT_EQ("string    unset  x\\ny: \"a\\nb\"  # c\\nd \\u001b\n", answer({"list", "--declared"}));
}

TEST_F(ListDeclared, ReportsAGroupWithoutDeclaredSettings) {
    answer({"set", "integer", "other/x", "1"});
    EXPECT_THAT(run({"list", "--declared", "other"}),
                Complains(1, "no declared settings in the group \"other\"\n"));
    EXPECT_THAT(run({"list", "--declared", "viewer/zoom"}),
                Complains(1, "\"viewer/zoom\" is a property, not a group\n"));
}

TEST_F(ListDeclared, ReportsThatNoCatalogueIsInstalled) {
    ::setenv("XDG_DATA_HOME", at("nowhere").c_str(), 1);
    Outcome const outcome = run({"list", "--declared", "editor"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("", outcome.out);
    EXPECT_THAT(outcome.err,
                testing::StartsWith("velmorand-register: note: no catalogue declares any settings ("));
}
