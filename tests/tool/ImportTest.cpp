// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include "Tool.h"

using namespace tool;

namespace {

struct Case {
    std::string name;
    std::string json;
    std::string complaint;
};

void PrintTo(Case const& test, std::ostream* out) {
    *out << test.name;
}

class BadImport : public Tool, public testing::WithParamInterface<Case> {};

std::string entryOf(std::string const& members) {
    return R"({"good": {"type": "integer", "value": 1},)"
           "\n"
           R"("bad": {)" +
           members + "}}";
}

std::string const expectedSettings = R"(, expected {"NAME": {"type": KIND, "value": VALUE}})";
std::string const expectedEntry = R"(, expected {"type": KIND, "value": VALUE})";
std::string const expectedValue = ", expected a value or a list of values";
std::string const otherFormats = " (import --from reads other formats: ini, kconfig, dconf)\n";
std::string const bad = "standard input:2: \"bad\": ";

std::string notJson(int line, int column, std::string const& reason) {
    return "standard input:" + std::to_string(line) + ':' + std::to_string(column) +
           ": not valid JSON: " + reason + '\n';
}

std::vector<Case> everyCase() {
    return {
        {"Nothing", "", notJson(1, 1, "unexpected end of input")},
        {"TruncatedJson", "{\"a\": ", notJson(1, 7, "unexpected end of input")},
        {"ATruncatedString", "{\n\"a", notJson(2, 3, "unexpected end of input")},
        {"TrailingText", "{} x", notJson(1, 4, R"(unexpected "x")")},
        {"AWordThatIsNotJson", "{\"a\":\n True}", notJson(2, 2, R"(unexpected "T")")},
        {"ALineBreakInAString", "{\"a\": \"x\ny\"}", notJson(1, 9, R"(unexpected "\n")")},
        {"TypographicQuotes", "{\"\xC3\xA9\": \xE2\x80\x9Cx\xE2\x80\x9D}",
         notJson(1, 7, "unexpected \"\xE2\x80\x9C\"")},
        {"NotUtf8", "{\"\xFF\": {}}", notJson(1, 3, "not UTF-8 text")},
        {"ATruncatedCharacter", "{\"\xC3\": {}}", notJson(1, 4, "not UTF-8 text")},
        {"ANulByte", std::string("{}\0{}", 5), notJson(1, 3, R"(unexpected "\u0000")")},
        {"AList", "[\"a\",\n{}]", ":1: found a list" + expectedSettings + '\n'},
        {"ANumber", "1", ":1: found a number" + expectedSettings + '\n'},
        {"AString", "\"a\"", ":1: found a string" + expectedSettings + '\n'},
        {"NoEntry", R"({"bad": true})", ":1: \"bad\": found a boolean" + expectedEntry},
        {"NullAsEntry", R"({"bad": null})", ":1: \"bad\": found null" + expectedEntry},
        {"AListAsEntry", R"({"bad": []})", ":1: \"bad\": found a list" + expectedEntry},
        {"AnObjectAsValue", entryOf(R"("type": "string", "value": {})"),
         bad + "found an object" + expectedValue},
        {"AListInAList", entryOf(R"("type": "strings", "value": [[]])"),
         bad + "found a list in a list" + expectedValue},
        {"AnObjectInAList", entryOf(R"("type": "strings", "value": [{}])"),
         bad + "found an object in a list" + expectedValue},
        {"AnIniFile", "[A]\nx=1\n", "input:1:2: not valid JSON: unexpected \"A\"" + otherFormats},
        {"AnIniFileWithAComment", "\n; x\n", "input:2:1: not valid JSON: unexpected \";\"" + otherFormats},
        {"NoType", entryOf(R"("value": 1)"), bad + "\"type\" is missing"},
        {"ATypeThatIsNotText", entryOf(R"("type": 1, "value": 1)"), bad + "\"type\" is missing"},
        {"NoSuchType", entryOf(R"("type": "int", "value": 1)"),
         bad + "no such type: int (types: string, number, integer, boolean, strings, numbers, integers, "
               "booleans)\n"},
        {"NoValue", entryOf(R"("type": "integer")"), bad + "\"value\" is missing"},
        {"AnExtraMember", entryOf(R"("type": "integer", "value": 1, "scope": 1)"),
         bad + "unexpected members in an entry of type integer"},
        {"TwoValues", entryOf(R"("type": "string", "value": "", "base64": "")"),
         bad + "unexpected members in an entry of type string"},
        {"AGroupWithAValue", entryOf(R"("type": "group", "value": 1)"),
         bad + "unexpected members in an entry of type group"},
        {"TheSameMemberTwice", entryOf(R"("type": "integer", "value": 1, "value": 2)"),
         bad + R"(duplicate member "value")"},
        {"TheSameNameTwice",
         R"({"bad": {"type": "integer", "value": 1}, "bad": {"type": "integer", "value": 2}})",
         ":1: \"bad\": duplicate name"},
        {"ANumberAsString", entryOf(R"("type": "string", "value": 1)"), bad + "1 is not a string"},
        {"AStringAsNumber", entryOf(R"("type": "number", "value": "1")"), bad + "\"1\" is not a number"},
        {"AFractionAsInteger", entryOf(R"("type": "integer", "value": 1.5)"),
         bad + "1.5 is not a 32-bit integer"},
        {"ALargeInteger", entryOf(R"("type": "integer", "value": 2147483648)"),
         bad + "2147483648 is not a 32-bit integer"},
        {"ASmallInteger", entryOf(R"("type": "integer", "value": -2147483649)"),
         bad + "-2147483649 is not a 32-bit integer"},
        {"AHugeNumber", entryOf(R"("type": "number", "value": 1e999)"),
         bad + "1e999 is out of range for a number"},
        {"AHugeNumberBeforeALineBreak", entryOf("\"type\": \"number\", \"value\": -1e999 \n"),
         bad + "-1e999 is out of range for a number"},
        {"AnIntegerAsBoolean", entryOf(R"("type": "boolean", "value": 1)"), bad + "1 is not a boolean"},
        {"ANull", entryOf(R"("type": "string", "value": null)"), bad + "null is not a string"},
        {"AValueAsList", entryOf(R"("type": "strings", "value": "a")"), bad + "\"a\" is not a list"},
        {"AListAsValue", entryOf(R"("type": "string", "value": ["a"])"), bad + "[\"a\"] is not a string"},
        {"OneBadElement", entryOf(R"("type": "integers", "value": [1, true])"),
         bad + "element 2: true is not a 32-bit integer"},
        {"NotBase64", entryOf(R"("type": "string", "base64": "?")"), bad + "\"?\" is not base64"},
        {"OneElementThatIsNotBase64", entryOf(R"("type": "strings", "base64": ["QQ==", "?"])"),
         bad + "element 2: \"?\" is not base64"},
        {"TruncatedBase64", entryOf(R"("type": "string", "base64": "QUJDR")"),
         bad + "\"QUJDR\" is not base64"},
        {"ABase64Integer", entryOf(R"("type": "integer", "base64": "")"),
         bad + R"(an entry of type integer has a "value", not "base64")"},
        {"BytesWithoutBase64", entryOf(R"("type": "bytes", "value": "")"), bad + "\"base64\" is missing"},
        {"AnotherRecord", entryOf(R"("type": "integer", "value": 1, "record": "SQIAAAA=")"),
         bad + R"("value" and "record" differ)"},
        {"ARecordOfAnotherKind", entryOf(R"("type": "boolean", "value": true, "record": "SQEAAAA=")"),
         bad + R"("value" and "record" differ)"},
        {"TheEmptyName", R"({"": {"type": "integer", "value": 1}})", ":1: \"\": the name is empty\n"},
        {"AnEmptyLevel", R"({"a//b": {"type": "integer", "value": 1}})",
         R"(:1: "a//b": invalid name (write "a/b"))"},
        {"ASlashAtTheEnd", R"({"a/": {"type": "integer", "value": 1}})",
         R"(:1: "a/": invalid name (write "a"))"},
        {"OnlySlashes", R"({"//": {"type": "integer", "value": 1}})", ":1: \"//\": the name is empty\n"},
        {"Dots", R"({"a/..": {"type": "integer", "value": 1}})", R"(a level cannot be "." or "..")"},
        {"AGroupAsProperty", R"({"group": {"type": "integer", "value": 1}})",
         R"(:1: "group": cannot set "group": it is a group)"},
        {"APropertyAsGroup", R"({"group/x": {"type": "group"}})",
         "cannot create the group \"group/x\": it is a property\n"},
        {"AGroupInAProperty", R"({"group/x/y": {"type": "group"}})",
         R"(cannot create the group "group/x/y": "group/x" is a property)"},
        {"APropertyInAProperty", R"({"group/x/y": {"type": "integer", "value": 1}})",
         R"(cannot set "group/x/y": "group/x" is a property)"},
        {"APropertyThatIsAlsoAGroup",
         R"({"a": {"type": "integer", "value": 1}, "a/b": {"type": "integer", "value": 1}})",
         R"(:1: "a/b": cannot set "a/b": "a" is a property)"},
    };
}

} // namespace

TEST_P(BadImport, ReportsThePlaceAndTheReasonAndChangesNothing) {
    answer({"set", "integer", "group/x", "1"});
    std::string const before = bytesOf(userFile);
    EXPECT_THAT(run({"import", "-"}, GetParam().json), Complains(2, GetParam().complaint));
    EXPECT_EQ(before, bytesOf(userFile));
}

INSTANTIATE_TEST_SUITE_P(Each, BadImport, testing::ValuesIn(everyCase()),
                         [](auto const& test) { return test.param.name; });

using Import = Tool;

TEST_F(Import, ReadsAFile) {
    putBytes(at("settings.json"), R"({"x": {"type": "integer", "value": 1}})");
    answer({"import", at("settings.json")});
    EXPECT_EQ("1\n", answer({"get", "x"}));
}

TEST_F(Import, NamesTheInvalidFile) {
    putBytes(at("settings.json"), "\n{\"x\":\n{}}");
    EXPECT_THAT(run({"import", at("settings.json")}),
                Complains(2, at("settings.json") + ":2: \"x\": \"type\" is missing"));
}

TEST_F(Import, KeepsSettingsThatItDoesNotContain) {
    answer({"set", "integer", "kept", "1"});
    answer({"import", "-"}, R"({"x": {"type": "integer", "value": 2}})");
    EXPECT_EQ("1\n", answer({"get", "kept"}));
}

TEST_F(Import, RemovesOtherSettingsWhenReplacing) {
    answer({"set", "integer", "x", "1"});
    answer({"import", "--replace", "-"}, R"({"x/y": {"type": "integer", "value": 2}})");
    EXPECT_EQ("integer   user   x/y\n", answer({"list", "-r"}));
    answer({"import", "--replace", "-"}, "{}");
    EXPECT_EQ("", answer({"list", "-r"}));
}

TEST_F(Import, PrintsTheNumberOfSettingsThatItHasSet) {
    std::string const settings = R"({"a": {"type": "integer", "value": 1},
        "b/x": {"type": "string", "value": "text"}, "b/g": {"type": "group"}})";
    EXPECT_EQ("3 set\n", answer({"import", "-"}, settings));
    answer({"set", "integer", "a", "2"});
    EXPECT_EQ("1 set\n", answer({"import", "-"}, settings));
}

TEST_F(Import, PrintsTheNumberOfSettingsThatItHasRemoved) {
    answer({"import", "-"}, R"({"a": {"type": "group"}, "b/x": {"type": "integer", "value": 1},
        "b/y": {"type": "integer", "value": 2}, "c": {"type": "integer", "value": 3}})");
    EXPECT_EQ("1 set, 3 removed\n",
              answer({"import", "--replace", "-"},
                     R"({"c": {"type": "integer", "value": 3}, "d": {"type": "integer", "value": 4}})"));
    EXPECT_EQ("1 removed\n",
              answer({"import", "--replace", "-"}, R"({"d": {"type": "integer", "value": 4}})"));
}

TEST_F(Import, DoesNotCountAnEmptyGroupThatItFillsAsRemoved) {
    answer({"import", "-"}, R"({"a": {"type": "group"}})");
    EXPECT_EQ("1 set\n", answer({"import", "-"}, R"({"a/x": {"type": "integer", "value": 1}})"));
}

TEST_F(Import, CountsAPropertyThatBecomesAGroupAsRemoved) {
    answer({"set", "integer", "x", "1"});
    EXPECT_EQ("1 set, 1 removed\n",
              answer({"import", "--replace", "-"}, R"({"x/y": {"type": "integer", "value": 1}})"));
}

TEST_F(Import, PrintsThatNothingChanged) {
    std::string const settings = R"({"x": {"type": "integer", "value": 1}})";
    answer({"import", "-"}, settings);
    EXPECT_EQ("nothing changed\n", answer({"import", "-"}, settings));
    EXPECT_EQ("nothing changed\n", answer({"import", "--replace", "-"}, settings));
}

TEST_F(Import, CreatesAMissingFileEvenWithoutSettings) {
    EXPECT_EQ("0 set\n", answer({"import", "-"}, "{}"));
    EXPECT_EQ("nothing changed\n", answer({"import", "-"}, "{}"));
}

TEST_F(Import, OfAnyOtherJsonObjectSuggestsTheOptionForIt) {
    std::string const hint = " (import --from json reads any other JSON object)\n";
    EXPECT_THAT(run({"import", "-"}, R"({"theme": "dark"})"), Complains(2, expectedEntry + hint));
    EXPECT_THAT(run({"import", "-"}, R"({"editor": {"font": {"size": 12}}})"),
                Complains(2, expectedValue + hint));
    EXPECT_THAT(run({"import", "-"}, R"({"editor": {"theme": "dark"}})"),
                Complains(2, "\"type\" is missing" + hint));
}

TEST_F(Import, WithAnInvalidEntryAfterOthersDoesNotSuggestAnotherFormat) {
    EXPECT_THAT(run({"import", "-"}, entryOf(R"("value": 1)")), Complains(2, bad + "\"type\" is missing\n"));
    EXPECT_THAT(run({"import", "-"}, R"({"good": {"type": "group"}, "bad": 1})"),
                Complains(2, expectedEntry + '\n'));
}

TEST_F(Import, AsADryRunPrintsTheChangesAndMakesNone) {
    answer({"import", "-"},
           R"({"a": {"type": "integer", "value": 1}, "b": {"type": "integer", "value": 2}})");
    std::string const before = bytesOf(userFile);
    std::string const settings = R"({"a": {"type": "integer", "value": 3}})";
    EXPECT_EQ("- a: integer 1\n"
              "+ a: integer 3\n"
              "1 set; not written (--dry-run)\n",
              answer({"import", "--dry-run", "-"}, settings));
    EXPECT_EQ("- a: integer 1\n"
              "+ a: integer 3\n"
              "- b: integer 2\n"
              "1 set, 1 removed; not written (--dry-run)\n",
              answer({"import", "--dry-run", "--replace", "-"}, settings));
    EXPECT_EQ(before, bytesOf(userFile));
}

TEST_F(Import, AsADryRunPrintsThatNothingWouldChange) {
    std::string const settings = R"({"a": {"type": "integer", "value": 1}})";
    answer({"import", "-"}, settings);
    EXPECT_EQ("nothing changed\n", answer({"import", "--dry-run", "-"}, settings));
}

TEST_F(Import, AsADryRunCreatesNothing) {
    Outcome const outcome = runBare({"import", "--dry-run", "-"}, "{}");
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("0 set; not written (--dry-run)\n", outcome.out);
    EXPECT_FALSE(std::filesystem::exists(at(".config")));
}

TEST_F(Import, AsADryRunReportsInvalidEntries) {
    EXPECT_THAT(run({"import", "--dry-run", "-"}, entryOf(R"("value": 1)")),
                Complains(2, bad + "\"type\" is missing\n"));
}

TEST_F(Import, AcceptsAnyOrderAndLayout) {
    answer({"import", "-"},
           "\n{ \"b/x\" :{\"value\":1,\n\"type\":\"number\"},\"a\":{\"type\":\"group\"} }\n\n");
    EXPECT_EQ("group     user   a\nnumber    user   b/x\n", answer({"list", "-r"}));
    EXPECT_EQ("1\n", answer({"get", "b/x"}));
}

TEST_F(Import, DoesNotRepeatLongText) {
    Outcome const outcome =
        run({"import", "-"}, entryOf(R"("type": "integer", "value": ")" + std::string(1'000'000, 'l') + '"'));
    EXPECT_THAT(outcome, Complains(2, "lll ... lll"));
    EXPECT_THAT(outcome, Complains(2, "\" is not a 32-bit integer\n"));
    EXPECT_GT(1000U, outcome.err.size());
}

TEST_F(Import, AcceptsBothFormsOfNegativeZero) {
    answer({"import", "-"}, R"({"x": {"type": "numbers", "value": [-0, -0.0, 0]}})");
    EXPECT_EQ("-0\n-0\n0\n", answer({"get", "x"}));
}

TEST_F(Import, ChangesTheGlobalFileOnRequest) {
    answer({"--global", global, "--scope", "global", "import", "-"}, R"({"x": {"type": "group"}})");
    EXPECT_EQ("no file", bytesOf(userFile));
    EXPECT_EQ("group     global x\n", answer({"--global", global, "list"}));
}
