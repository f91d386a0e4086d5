// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <filesystem>

#include <sys/stat.h>

#include "Declared.h"
#include "support/LateDate.h"

using namespace tool;
using testing::HasSubstr;

namespace {

class Catalogue : public Tool {
protected:
    /** Installs a catalogue that declares "a/x" with this fallback in a data directory. */
    void install(std::string const& data, std::string const& file, std::string const& fallback) {
        putBytes(placeFor(data) + '/' + file, declaring(fallback));
    }

    static std::string declaring(std::string const& fallback) {
        return catalogueOf(R"("a/x": {"type": "string", "fallback": ")" + fallback + "\"}");
    }

    /** Creates the directory for catalogues in a data directory, and returns its path. */
    std::string placeFor(std::string const& data) {
        std::string place = at(data + "/velmorand/declared");
        std::filesystem::create_directories(place);
        return place;
    }

    /** The list of declared settings, which shows the fallback of "a/x". */
    std::string fallback(Arguments arguments = {}) {
        arguments.insert(arguments.end(), {"list", "--declared", "-r"});
        return answer(arguments);
    }

    static std::string line(std::string const& fallback) {
        return R"(string    unset  a/x: ")" + fallback + "\"\n";
    }
};

struct Case {
    std::string name;
    std::string json;
    std::string complaint;
};

void PrintTo(Case const& test, std::ostream* out) {
    *out << test.name;
}

class BadCatalogue : public Catalogue, public testing::WithParamInterface<Case> {};

std::string declarationOf(std::string const& members) {
    return "{\"settings\": {\n\"good\": {\"type\": \"string\"},\n\"a/x\": {" + members + "}}}";
}

std::vector<Case> everyBadCatalogue() {
    std::string const place = ":3: \"a/x\": ";
    std::string const expected = R"(, expected {"settings": {"NAME": {"type": KIND}}})";
    std::string const expectedSettings = R"(, expected {"NAME": {"type": KIND}})";
    std::string const expectedDeclaration = R"(, expected {"type": KIND})";
    return {
        {"Nothing", "", ":1:1: not valid JSON: unexpected end of input"},
        {"Truncated", "{\n\"settings\": {", ":2:14: not valid JSON: unexpected end of input"},
        {"AList", "[]", ":1: found a list" + expected},
        {"NoSettings", "{}", R"(:1: "settings" is missing)"},
        {"OtherSections", R"({"program": {"settings": {}}, "s": {}})", ":1: \"settings\" is missing"},
        {"AListOfSettings", "{\n\"settings\": []}", ":2: found a list" + expectedSettings},
        {"ANumberAsSettings", "{\n\"settings\": 1}", ":2: found a number" + expectedSettings},
        {"ANumberAsDeclaration", "{\"settings\": {\n\"a/x\": 1}}",
         ":2: \"a/x\": found a number" + expectedDeclaration},
        {"AListAsDeclaration", "{\"settings\": {\"a/x\":\n[]}}",
         ":1: \"a/x\": found a list" + expectedDeclaration},
        {"ABadName", R"({"settings": {"a//x": {"type": "string"}}})",
         R"(:1: "a//x": invalid name (write "a/x"))"},
        {"NoName", R"({"settings": {"": {"type": "string"}}})", ":1: the name is empty\n"},
        {"Dots", R"({"settings": {"a/..": {"type": "string"}}})", "a level cannot be"},
        {"OneNameTwice", R"({"settings": {"a": {"type": "string"}, "a": {"type": "string"}}})",
         ":1: \"a\": duplicate name"},
        {"NoType", declarationOf(R"("fallback": 1)"), place + "\"type\" is missing"},
        {"NoSuchType", declarationOf(R"("type": "int")"),
         place + "no such type: int (types: string, number, integer, boolean, strings, numbers, integers, "
                 "booleans)\n"},
        {"AFallbackOfAnotherKind", declarationOf(R"("type": "integer", "fallback": 1.5)"),
         place + R"("fallback": 1.5 is not a 32-bit integer)"},
        {"AHugeFallback", declarationOf(R"("type": "number", "fallback": 1e999)"),
         place + "1e999 is out of range for a number"},
        {"AMinimumOfAnotherKind", declarationOf(R"("type": "number", "minimum": "low")"),
         place + R"("minimum": "low" is not a number)"},
        {"AMaximumThatIsAList", declarationOf(R"("type": "integers", "maximum": [1])"),
         place + R"("maximum": [1] is not a 32-bit integer)"},
        {"AMinimumWithAFraction", declarationOf(R"("type": "number", "format": "whole", "minimum": 0.5)"),
         place + R"("minimum": 0.5 is not a whole number)"},
        {"AMinimumThatIsNotATime", declarationOf(R"("type": "string", "format": "duration", "minimum": "1")"),
         place + R"("minimum": "1" is not a duration such as 1.5s)"},
        {"AResolutionThatIsNotATime",
         declarationOf(R"("type": "string", "format": "duration", "resolution": "1")"),
         place + R"("resolution": "1" is not a duration such as 1.5s)"},
        {"AResolutionOfZero", declarationOf(R"("type": "string", "format": "duration", "resolution": "0s")"),
         place + R"("resolution": "0s" is not a resolution: expected whole nanoseconds from 1ns to 10000d)"},
        {"ANegativeResolution",
         declarationOf(R"("type": "string", "format": "duration", "resolution": "-1s")"),
         place + R"("resolution": "-1s" is not a resolution: expected whole nanoseconds from 1ns to 10000d)"},
        {"AResolutionOfAFraction",
         declarationOf(R"("type": "string", "format": "duration", "resolution": "0.5ns")"),
         place +
             R"("resolution": "0.5ns" is not a resolution: expected whole nanoseconds from 1ns to 10000d)"},
        {"ALargeResolution",
         declarationOf(R"("type": "string", "format": "duration", "resolution": "10001d")"),
         place +
             R"("resolution": "10001d" is not a resolution: expected whole nanoseconds from 1ns to 10000d)"},
        {"AChoice", declarationOf(R"("type": "string", "choices": "a")"),
         place + R"("choices": "a" is not a list)"},
        {"AChoiceOfAnotherKind", declarationOf(R"("type": "strings", "choices": ["a", 1])"),
         place + R"("choices": element 2: 1 is not a string)"},
        {"ADescriptionThatIsNotText", declarationOf(R"("type": "string", "description": 1)"),
         place + R"("description": 1 is not a string)"},
        {"BadBase64", declarationOf(R"("type": "string", "fallback": {"base64": "?"})"),
         place + R"("fallback": "?" is not base64)"},
    };
}

} // namespace

TEST_P(BadCatalogue, IsIgnoredWithAWarningThatNamesThePlace) {
    std::string const bad = placeFor(".local/share") + "/bad.json";
    putBytes(bad, GetParam().json);
    install(".local/share", "good.json", "good");
    Outcome const outcome = run({"list", "--declared", "-r"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ(line("good"), outcome.out);
    EXPECT_THAT(outcome.err, testing::StartsWith("velmorand-register: warning: " + bad + ':'));
    EXPECT_THAT(outcome.err, HasSubstr(GetParam().complaint));
}

TEST_P(BadCatalogue, IsAnErrorIfItIsGivenAsAnOption) {
    putBytes(at("bad.json"), GetParam().json);
    EXPECT_THAT(run({"--catalogue", at("bad.json"), "list", "--declared"}),
                Complains(2, GetParam().complaint));
}

INSTANTIATE_TEST_SUITE_P(Each, BadCatalogue, testing::ValuesIn(everyBadCatalogue()),
                         [](auto const& test) { return test.param.name; });

TEST_F(Catalogue, IsFoundInTheUsersDataDirectory) {
    install(".local/share", "a.json", "default");
    EXPECT_EQ(line("default"), fallback());
    install("data", "a.json", "given");
    ::setenv("XDG_DATA_HOME", at("data").c_str(), 1);
    EXPECT_EQ(line("given"), fallback());
    ::setenv("XDG_DATA_HOME", "data", 1); // relative
    EXPECT_EQ(line("default"), fallback());
}

TEST_F(Catalogue, IsFoundInEachDataDirectory) {
    install("second", "a.json", "second");
    ::setenv("XDG_DATA_DIRS", (at("first") + ':' + at("second") + "/:").c_str(), 1);
    EXPECT_EQ(line("second"), fallback());
    install("first", "z.json", "first");
    EXPECT_EQ(line("first"), fallback());
    install(".local/share", "z.json", "user's");
    EXPECT_EQ(line("user's"), fallback());
}

TEST_F(Catalogue, IsNotFoundInRelativeDirectories) {
    install("share", "a.json", "absolute");
    std::filesystem::current_path(at("share"));
    ::setenv("XDG_DATA_DIRS", ".", 1);
    EXPECT_EQ("", run({"list", "--declared"}).out);
    ::setenv("XDG_DATA_DIRS", (".:" + at("share")).c_str(), 1);
    EXPECT_EQ(line("absolute"), fallback());
}

TEST_F(Catalogue, DoesNotNeedHome) {
    install("share", "a.json", "shared");
    ::unsetenv("HOME");
    EXPECT_EQ(line("shared"), fallback());
}

TEST_F(Catalogue, IsReadInTheOrderOfFileNames) {
    install("share", "b.json", "b");
    install("share", "B.json", "B");
    EXPECT_EQ(line("B"), fallback());
    install("share", "A.json", "A");
    EXPECT_EQ(line("A"), fallback());
}

TEST_F(Catalogue, IsCombinedWithOthers) {
    install("share", "a.json", "a");
    putBytes(placeFor("share") + "/b.json", catalogueOf(R"("b/y": {"type": "boolean", "fallback": false})"));
    EXPECT_EQ(line("a") + "boolean   unset  b/y: false\n", fallback());
}

TEST_F(Catalogue, ExcludesOtherFilesInTheDirectory) {
    for (char const* const other : {"a.json~", "a.txt", ".a.json", ".#a.json", "json"})
        install("share", other, "other");
    EXPECT_EQ("", run({"list", "--declared"}).out);
}

TEST_F(Catalogue, ThatIsADirectoryOrAPipeIsIgnored) {
    std::filesystem::create_directory(placeFor("share") + "/a.json");
    ASSERT_EQ(0, ::mkfifo((placeFor("share") + "/b.json").c_str(), 0600));
    install("share", "c.json", "c");
    Outcome const outcome = run({"list", "--declared", "-r"});
    EXPECT_EQ(line("c"), outcome.out);
    EXPECT_EQ("velmorand-register: warning: " + placeFor("share") + "/a.json: Is a directory\n" +
                  "velmorand-register: warning: " + placeFor("share") + "/b.json: not a regular file\n",
              outcome.err);
}

TEST_F(Catalogue, WhoseDirectoryIsAFileIsReported) {
    std::filesystem::create_directories(at("share/velmorand"));
    putBytes(at("share/velmorand/declared"), "");
    EXPECT_THAT(run({"list", "--declared"}).err,
                HasSubstr("warning: " + at("share/velmorand/declared") + ": Not a directory\n"));
}

TEST_F(Catalogue, GivenAsAnOptionReplacesTheInstalledOnes) {
    install("share", "a.json", "installed");
    install("mine", "a.json", "in a directory");
    putBytes(at("file"), declaring("in a file"));
    EXPECT_EQ(line("in a file"), fallback({"--catalogue", at("file")}));
    EXPECT_EQ(line("in a directory"), fallback({"--catalogue", placeFor("mine")}));
    EXPECT_EQ(line("in a directory"), fallback({"--catalogue", placeFor("mine"), "--catalogue", at("file")}));
    EXPECT_EQ(line("in a file"), fallback({"--catalogue", at("file"), "--catalogue", placeFor("mine")}));
    putBytes(at("empty"), R"({"settings": {}})");
    EXPECT_EQ("", run({"--catalogue", at("empty"), "list", "--declared"}).out);
}

TEST_F(Catalogue, GivenAsAnOptionMayBeADirectoryDatedAfter2038) {
    std::string const place = placeFor("mine");
    putBytes(place + "/a.json", declaring("in a directory"));
    if (!support::dateLate(place) || !support::dateLate(place + "/a.json"))
        GTEST_SKIP() << "the file system cannot store the date";
    EXPECT_EQ(line("in a directory"), fallback({"--catalogue", place}));
}

TEST_F(Catalogue, GivenAsAnOptionMustExist) {
    EXPECT_THAT(run({"--catalogue", at("nowhere"), "list", "--declared"}),
                Complains(2, at("nowhere") + ": No such file or directory"));
    EXPECT_THAT(run({"--catalogue", at("nowhere"), "check", "--declared"}),
                Complains(2, at("nowhere") + ": No such file or directory"));
    EXPECT_THAT(run({"--catalogue", at("nowhere"), "set", "integer", "x", "1"}),
                Complains(2, at("nowhere") + ": No such file or directory"));
}

TEST_F(Catalogue, InADirectoryGivenAsAnOptionMustBeValid) {
    putBytes(placeFor("mine") + "/a.json", "{}");
    EXPECT_THAT(run({"--catalogue", placeFor("mine"), "list", "--declared"}),
                Complains(2, placeFor("mine") + R"(/a.json:1: "settings" is missing)"));
}

TEST_F(Catalogue, ThatIsInvalidDoesNotPreventSet) {
    putBytes(placeFor("share") + "/a.json", "{}");
    Outcome const outcome = run({"set", "integer", "x", "1"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_THAT(outcome.err, HasSubstr("warning: " + placeFor("share") + "/a.json:1: "));
    EXPECT_EQ("1\n", answer({"get", "x"}));
}

TEST_F(Catalogue, IsNotReadByOtherCommands) {
    putBytes(placeFor("share") + "/a.json", "{}");
    EXPECT_THAT(run({"set", "--force", "integer", "x", "1"}).err, testing::IsEmpty());
    for (Arguments const& arguments :
         {Arguments{"list"}, {"get", "x"}, {"check"}, {"export"}, {"delete", "x"}})
        answer(arguments);
}

TEST_F(Catalogue, MayHaveMembersOfLaterVersions) {
    putBytes(placeFor("share") + "/a.json", R"({
        "version": {"settings": {"a": 1}}, "list": [{"settings": {"b": []}}],
        "settings": {"a/x": {"type": "string", "fallback": "a", "unit": {"type": "pt"}, "see": ["b"]}},
        "more": {"a/y": {"type": "none"}}})");
    EXPECT_EQ(line("a"), fallback());
}

TEST_F(Catalogue, MayHaveNumbersThatJsonLacks) {
    putBytes(placeFor("share") + "/a.json",
             catalogueOf(R"("a": {"type": "number", "fallback": "-inf", "minimum": "-inf"},
                            "b": {"type": "numbers", "fallback": ["nan", -0.0, 1]},
                            "c": {"type": "string", "fallback": {"base64": "/w=="}},
                            "d": {"type": "strings", "fallback": ["d", {"base64": "/w=="}]})"));
    EXPECT_EQ("number    unset  a: \"-inf\"\n"
              "numbers   unset  b: [\"nan\", -0.0, 1.0]\n"
              "string    unset  c: \"\xEF\xBF\xBD\"\n"
              "strings   unset  d: [\"d\", \"\xEF\xBF\xBD\"]\n",
              fallback());
}
