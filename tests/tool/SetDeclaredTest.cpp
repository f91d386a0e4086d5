// SPDX-License-Identifier: Apache-2.0
#include "Declared.h"

using namespace tool;

using SetDeclared = Declared;

TEST_F(SetDeclared, RefusesAnotherKindAndReportsTheExpectedOne) {
    EXPECT_THAT(
        run({"set", "string", "editor/size", "12"}),
        Complains(2, ": cannot set \"editor/size\": a string is not allowed: expected a number from 6 to 72 "
                     "(--force sets it anyway)\n"));
    EXPECT_EQ("no file", bytesOf(userFile));
}

TEST_F(SetDeclared, RefusesAValueThatIsNotAllowed) {
    answer({"set", "number", "editor/size", "12"});
    EXPECT_THAT(run({"set", "number", "editor/size", "99"}),
                Complains(2,
                          ": cannot set \"editor/size\": 99 is not allowed: expected a number from 6 to 72 "
                          "(--force sets it anyway)\n"));
    EXPECT_THAT(
        run({"set", "string", "editor/autosave", "30"}),
        Complains(2, "cannot set \"editor/autosave\": \"30\" is not allowed: expected a duration such as "
                     "1.5s (units: "));
    EXPECT_EQ("12\n", answer({"get", "editor/size"}));
}

TEST_F(SetDeclared, NumbersTheElementThatIsNotAllowed) {
    EXPECT_THAT(
        run({"set", "integers", "editor/margins", "1", "2", "10"}),
        Complains(2, "cannot set \"editor/margins\": element 3: 10 is not allowed: expected a list of "));
}

TEST_F(SetDeclared, AcceptsAllowedValues) {
    answer({"set", "string", "editor/autosave", "2min"});
    answer({"set", "integers", "editor/margins", "0", "9"});
    EXPECT_EQ("2min\n", answer({"get", "editor/autosave"}));
}

TEST_F(SetDeclared, AcceptsAnythingWithForce) {
    answer({"set", "--force", "string", "editor/size", "big"});
    EXPECT_EQ("big\n", answer({"get", "editor/size"}));
    answer({"set", "number", "editor/size", "99", "--force"});
    EXPECT_EQ("99\n", answer({"get", "editor/size"}));
}

TEST_F(SetDeclared, AcceptsUndeclaredNames) {
    answer({"set", "integer", "editor/other", "1"});
    EXPECT_EQ("1\n", answer({"get", "editor/other"}));
}

TEST_F(SetDeclared, WarnsOfANameThatIsSimilarToADeclaredOne) {
    Outcome outcome = run({"set", "string", "editor/theem", "dark"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ(
        "velmorand-register: warning: \"editor/theem\" is not declared (did you mean \"editor/theme\"?)\n",
        outcome.err);
    EXPECT_EQ("dark\n", answer({"get", "editor/theem"}));
    outcome = run({"set", "number", "editr/size", "12"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_THAT(outcome.err,
                testing::HasSubstr("\"editr/size\" is not declared (did you mean \"editor/size\"?)"));
}

TEST_F(SetDeclared, DoesNotWarnOfASimilarNameIfItIsForcedOrRefused) {
    answer({"set", "--force", "string", "editor/theem", "dark"});
    answer({"--global", global, "lock", "editor"});
    EXPECT_THAT(run({"--global", global, "set", "number", "editor/sizes", "1"}), Complains(2, "has locked"));
}

TEST_F(SetDeclared, RefusesTheSameValuesInTheGlobalFile) {
    EXPECT_THAT(run({"--global", global, "--scope", "global", "set", "string", "/editor//theme", "blue"}),
                Complains(2, "cannot set \"editor/theme\": \"blue\" is not allowed"));
}

TEST_F(SetDeclared, DoesNotAffectImport) {
    answer({"import", "-"}, R"({"editor/size": {"type": "string", "value": "big"}})");
    EXPECT_EQ("big\n", answer({"get", "editor/size"}));
}
