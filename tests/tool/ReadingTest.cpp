// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <thread>

#include <sys/stat.h>

#include "Tool.h"
#include "support/LateDate.h"

using namespace tool;

namespace {

class Reading : public Tool {
protected:
    Reading() {
        answer({"set", "integer", "both", "1"});
        answer({"set", "string", "a/text", "t"});
        answer({"set", "booleans", "a/b/flags", "true", "false"});
        answer({"--global", global, "--scope", "global", "set", "number", "both", "0.5"});
        answer({"--global", global, "--scope", "global", "set", "number", "a/ratio", "0.25"});
    }
};

} // namespace

TEST_F(Reading, ListsKindScopeAndFullNameOfTheEntriesOfAGroup) {
    EXPECT_EQ("group     user   a/b\n"
              "string    user   a/text\n",
              answer({"list", "a"}));
}

TEST_F(Reading, ListsEverythingBelowAGroup) {
    EXPECT_EQ("booleans  user   a/b/flags\n"
              "string    user   a/text\n"
              "integer   user   both\n",
              answer({"list", "-r"}));
    EXPECT_EQ("booleans  user   a/b/flags\n", answer({"list", "--recursive", "a/b"}));
}

TEST_F(Reading, ListsValues) {
    EXPECT_EQ("group     user   a/b\n"
              "string    user   a/text: \"t\"\n",
              answer({"list", "-l", "a"}));
    EXPECT_EQ("booleans  user   a/b/flags: [true, false]\n", answer({"list", "--long", "-r", "a/b"}));
}

TEST_F(Reading, ListsTheEffectiveScope) {
    EXPECT_EQ("booleans  user   a/b/flags\n"
              "number    global a/ratio\n"
              "string    user   a/text\n"
              "integer   user   both\n",
              answer({"--global", global, "list", "-r"}));
}

TEST_F(Reading, OmitsAPropertyHiddenByAGroupOfTheUser) {
    answer({"--global", global, "--scope", "global", "set", "integer", "a/b", "1"});
    EXPECT_EQ("group     user   a/b\nnumber    global a/ratio\nstring    user   a/text\n",
              answer({"--global", global, "list", "a"}));
    EXPECT_EQ("booleans  user   a/b/flags\n", answer({"--global", global, "list", "-r", "a/b"}));
    EXPECT_EQ("booleans  user   a/b/flags\nnumber    global a/ratio\nstring    user   a/text\n",
              answer({"--global", global, "list", "-r", "a"}));
}

TEST_F(Reading, ListsGroupsAsIfTheirNamesEndedInASlash) {
    answer({"set", "integer", "a-b", "1"});
    answer({"set", "integer", "a0", "1"});
    EXPECT_EQ("integer   user   a-b\n"
              "group     user   a\n"
              "integer   user   a0\n"
              "integer   user   both\n",
              answer({"list"}));
}

TEST_F(Reading, ListsOneScope) {
    EXPECT_EQ("number    global a/ratio\n"
              "number    global both\n",
              answer({"--global", global, "--scope", "global", "list", "-r"}));
    EXPECT_EQ("group     user   a\n"
              "integer   user   both\n",
              answer({"--global", global, "--scope", "user", "list"}));
}

TEST_F(Reading, ListsNothingInTheTemporaryScope) {
    EXPECT_EQ("", answer({"--scope", "temporary", "list", "-r"}));
}

TEST_F(Reading, ListsAnEmptyGroup) {
    answer({"import", "-"}, R"({"g/empty": {"type": "group"}})");
    EXPECT_EQ("group     user   g/empty\n", answer({"list", "-r", "g"}));
    EXPECT_EQ("", answer({"list", "g/empty"}));
}

TEST_F(Reading, ListsEachNameInOneLine) {
    answer({"set", "string", "a/text", "t"});
    answer({"set", "integer", "l/two\nlines \x1b[31m\x7f", "1"});
    EXPECT_EQ("integer   user   l/two\\nlines \\u001b[31m\\u007f\n", answer({"list", "l"}));
}

TEST_F(Reading, ReportsAMissingGroup) {
    EXPECT_THAT(run({"list", "nowhere"}), Complains(1, "no such group: nowhere"));
    EXPECT_THAT(run({"export", "nowhere"}), Complains(1, "no such group: nowhere"));
}

TEST_F(Reading, ReportsAPropertyInPlaceOfAGroup) {
    EXPECT_THAT(run({"list", "a/text"}), Complains(1, "\"a/text\" is a property, not a group"));
    EXPECT_THAT(run({"--global", global, "list", "a/ratio"}),
                Complains(1, "\"a/ratio\" is a property, not a group"));
    EXPECT_THAT(run({"export", "both"}), Complains(1, "\"both\" is a property, not a group"));
}

TEST_F(Reading, ReportsSettingsThatAreNotExported) {
    Outcome const outcome = run({"--global", global, "export"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ(answer({"export"}), outcome.out);
    EXPECT_EQ("velmorand-register: note: exporting only the user's settings, not those in " + globalFile +
                  " (use --scope global for those)\n",
              outcome.err);
    EXPECT_THAT(answer({"--global", global, "--scope", "global", "export"}), testing::HasSubstr("a/ratio"));
    answer({"--global", global, "--scope", "user", "export"});
}

TEST_F(Reading, GetsTheEffectiveValue) {
    EXPECT_EQ("1\n", answer({"--global", global, "get", "both"}));
    EXPECT_EQ("0.5\n", answer({"--global", global, "--scope", "global", "get", "both"}));
    EXPECT_EQ("0.25\n", answer({"--global", global, "get", "a/ratio"}));
}

TEST_F(Reading, GetsAnElementPerLine) {
    EXPECT_EQ("true\nfalse\n", answer({"get", "a/b/flags"}));
}

TEST_F(Reading, GetsTextUnchanged) {
    answer({"set", "string", "text", " \x1b[31m\n\"\xFF "});
    EXPECT_EQ(" \x1b[31m\n\"\xFF \n", answer({"get", "text"}));
}

TEST_F(Reading, AcceptsOptionsAfterTheCommand) {
    EXPECT_EQ("1\n", runBare({"get", "both", "--user", user}).out);
}

TEST_F(Reading, ReportsAMissingProperty) {
    EXPECT_THAT(run({"get", "nowhere"}), Complains(1, "no such property: nowhere"));
    EXPECT_THAT(run({"get", "a/ratio"}), Complains(1, "no such property: a/ratio"));
    EXPECT_THAT(run({"--scope", "temporary", "get", "both"}), Complains(1, "no such property: both"));
}

TEST_F(Reading, ReportsAGroupInPlaceOfAProperty) {
    EXPECT_THAT(run({"get", "a"}), Complains(1, "\"a\" is a group, not a property"));
}

TEST_F(Reading, WritesNoFile) {
    std::string const before = bytesOf(userFile);
    auto const written = std::filesystem::last_write_time(userFile);
    run({"list", "-r"});
    run({"get", "both"});
    run({"export"});
    run({"check"});
    run({"diff", userFile, globalFile});
    EXPECT_EQ(before, bytesOf(userFile));
    EXPECT_EQ(written, std::filesystem::last_write_time(userFile));
}

TEST_F(Reading, ChecksAnIntactFile) {
    EXPECT_EQ(userFile + ": sound, 3 properties\n", answer({"check"}));
    EXPECT_EQ(globalFile + ": sound, 2 properties\n", answer({"check", globalFile}));
    EXPECT_EQ(globalFile + ": sound, 2 properties\n", answer({"check", global}));
    EXPECT_EQ(userFile + ": sound, 3 properties\n" + globalFile + ": sound, 2 properties\n",
              answer({"--global", global, "check"}));
}

TEST_F(Reading, AcceptsFilesAndDirectoriesDatedAfter2038) {
    if (!support::dateLate(userFile) || !support::dateLate(user))
        GTEST_SKIP() << "the file system cannot store the date";
    EXPECT_EQ(userFile + ": sound, 3 properties\n", answer({"check", user}));
    EXPECT_EQ("1\n", answer({"get", "both"}));
    answer({"set", "integer", "both", "2"});
    EXPECT_EQ("2\n", answer({"get", "both"}));
}

TEST_F(Reading, ReportsAMissingFile) {
    EXPECT_THAT(run({"check", at("nowhere")}), Complains(1, at("nowhere") + ": No such file or directory"));
    std::filesystem::remove(userFile);
    EXPECT_THAT(run({"diff", userFile, globalFile}), Complains(3, userFile + ": No such file or directory"));
    EXPECT_EQ("", answer({"list", "-r"}));
    EXPECT_EQ("{}\n", answer({"export"}));
}

TEST_F(Reading, ShowsDifferences) {
    Outcome const outcome = run({"diff", user, globalFile});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("", outcome.err);
    EXPECT_EQ("- a/b/flags: booleans [true, false]\n"
              "+ a/ratio: number 0.25\n"
              "- a/text: string \"t\"\n"
              "- both: integer 1\n"
              "+ both: number 0.5\n",
              outcome.out);
}

TEST_F(Reading, ShowsTheBytesIfTheValuesLookTheSame) {
    answer({"import", "-"},
           R"({"both": {"type": "boolean", "value": true}, "n": {"type": "bytes", "base64": "eA=="}})");
    std::string const copy = bytesOf(userFile);
    putBytes(globalFile, copy);
    answer({"import", "-"}, R"({"both": {"type": "boolean", "value": true, "record": "QgI="},
                                "n": {"type": "bytes", "base64": "eHg="}})");
    EXPECT_EQ("- both: boolean true, record QgE=\n"
              "+ both: boolean true, record QgI=\n"
              "- n: bytes eA==\n"
              "+ n: bytes eHg=\n",
              run({"diff", global, user}).out);
}

TEST_F(Reading, ComparesExportedSettings) {
    std::string const json = at("settings.json");
    putBytes(json, "\xEF\xBB\xBF \n" + answer({"export"}));
    EXPECT_EQ("", answer({"diff", json, user}));
    EXPECT_EQ("", answer({"diff", userFile, json}));
    EXPECT_EQ("", answer({"diff", json, json}));
    answer({"set", "integer", "both", "2"});
    EXPECT_EQ("- both: integer 1\n+ both: integer 2\n", run({"diff", json, user}).out);
    EXPECT_EQ("- both: integer 2\n+ both: integer 1\n", run({"diff", user, json}).out);
}

TEST_F(Reading, ComparesSettingsFromAPipe) {
    std::string const pipe = at("pipe");
    ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0600));
    std::string const json = answer({"export"});
    std::thread writer([&] { putBytes(pipe, json); });
    Outcome const outcome = run({"diff", pipe, user});
    writer.join();
    EXPECT_EQ(0, outcome.status) << outcome.err;
}

TEST_F(Reading, ComparesSettingsFromStandardInput) {
    std::string const json = answer({"export"});
    answer({"set", "integer", "both", "2"});
    EXPECT_EQ("- both: integer 1\n+ both: integer 2\n", run({"diff", "-", user}, json).out);
    EXPECT_EQ("- both: integer 2\n+ both: integer 1\n", run({"diff", user, "-"}, json).out);
}

TEST_F(Reading, ReportsAnInvalidExport) {
    putBytes(at("settings.json"), "{\n\"x\": {}}");
    EXPECT_THAT(run({"diff", at("settings.json"), user}),
                Complains(2, at("settings.json") + ":2: \"x\": \"type\" is missing"));
    EXPECT_THAT(run({"diff", "-", user}, "{\n\"x\": {}}"),
                Complains(2, "standard input:2: \"x\": \"type\" is missing"));
}

TEST_F(Reading, ReportsAFileThatCannotBeCompared) {
    for (std::string const other : {"neither", "[1]"}) {
        putBytes(at("other"), other);
        EXPECT_THAT(run({"diff", user, at("other")}),
                    Complains(3, at("other") + ": neither a register file nor exported settings\n"));
    }
    putBytes(at("other"), bytesOf(userFile).substr(0, 20));
    EXPECT_THAT(run({"diff", at("other"), user}), Complains(3, at("other") + ": damaged: "));
}

TEST_F(Reading, ShowsNothingWhenNothingDiffers) {
    EXPECT_EQ("", answer({"diff", user, userFile}));
}
