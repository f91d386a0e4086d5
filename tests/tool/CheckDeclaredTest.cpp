// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include <utils/properties/Register.h>

#include "Declared.h"

using namespace tool;

namespace {

/** Checks of the user's file against the declarations. */
class CheckDeclared : public Declared {
protected:
    void set(Arguments arguments) {
        arguments.insert(arguments.begin(), {"set", "--force"});
        answer(arguments);
    }

    [[nodiscard]] std::string warning(std::string const& name, std::string const& text) const {
        return "velmorand-register: warning: " + userFile + ": \"" + name + "\": " + text + '\n';
    }

    void expectWarnings(std::string const& lines, std::string const& count) {
        Outcome const outcome = run({"check", "--declared"});
        EXPECT_EQ(4, outcome.status);
        EXPECT_EQ(lines, outcome.err);
        EXPECT_EQ(userFile + ": " + count + '\n', outcome.out);
    }

    void expectSound() { EXPECT_THAT(answer({"check", "--declared"}), testing::HasSubstr(": sound, ")); }
};

struct Case {
    std::string name;
    Arguments setting;
    std::string warning;
};

void PrintTo(Case const& test, std::ostream* out) {
    *out << test.name;
}

class NotAsDeclared : public CheckDeclared, public testing::WithParamInterface<Case> {};
class AsDeclared : public CheckDeclared, public testing::WithParamInterface<Case> {};

std::string const duration =
    R"(expected a duration such as 1.5s (units: ns, us, ms, s, min, h, d) of at least 1s)";
std::string const id =
    R"(expected a whole number as a string from -9223372036854775808 to 9223372036854775807)";

std::vector<Case> whatIsNotAllowed() {
    std::string const size = "expected a number from 6 to 72";
    std::string const count = "expected a whole number from 0 to 4294967295";
    std::string const margins = "expected a list of integers from 0 to 9";
    return {
        {"AnotherKind", {"string", "editor/size", "12"}, "a string is not allowed: " + size},
        {"AListInPlaceOfAValue",
         {"numbers", "editor/size", "12"},
         "a list of numbers is not allowed: " + size},
        {"AValueInPlaceOfAList", {"integer", "editor/margins", "1"}, "an integer is not allowed: " + margins},
        {"LessThanTheMinimum", {"number", "editor/size", "5.99"}, "5.99 is not allowed: " + size},
        {"MoreThanTheMaximum", {"number", "editor/size", "inf"}, "inf is not allowed: " + size},
        {"NotANumber", {"number", "editor/size", "nan"}, "nan is not allowed: " + size},
        {"AnElementOutOfRange",
         {"integers", "editor/margins", "9", "10"},
         "element 2: 10 is not allowed: " + margins},
        {"NotAChoice",
         {"string", "editor/theme", "blue"},
         R"("blue" is not allowed: expected a string, one of "light", "dark")"},
        {"AFraction", {"number", "editor/count", "1.5"}, "1.5 is not allowed: " + count},
        {"AFractionAsString", {"string", "editor/id", "1.0"}, "\"1.0\" is not allowed: " + id},
        {"NoDigits", {"string", "editor/id", "--", "-"}, "\"-\" is not allowed: " + id},
        {"APlus", {"string", "editor/id", "+1"}, "\"+1\" is not allowed: " + id},
        {"MoreThanSigned64Bits",
         {"string", "editor/id", "9223372036854775808"},
         "\"9223372036854775808\" is not allowed: " + id},
        {"LessThanSigned64Bits",
         {"string", "editor/id", "-9223372036854775809"},
         "\"-9223372036854775809\" is not allowed: " + id},
        {"ATimeWithoutUnit", {"string", "editor/autosave", "30"}, "\"30\" is not allowed: " + duration},
        {"AnUnknownUnit", {"string", "editor/autosave", "3y"}, "\"3y\" is not allowed: " + duration},
        {"AUnitAfterASpace", {"string", "editor/autosave", "3 s"}, "\"3 s\" is not allowed: " + duration},
        {"AUnitAlone", {"string", "editor/autosave", "min"}, "\"min\" is not allowed: " + duration},
        {"ATimeWithoutFractionDigits",
         {"string", "editor/autosave", "3.s"},
         "\"3.s\" is not allowed: " + duration},
        {"ATimeWithoutIntegerDigits",
         {"string", "editor/autosave", ".5h"},
         "\".5h\" is not allowed: " + duration},
        {"ATimeThatIsTooShort",
         {"string", "editor/autosave", "999.999999999ms"},
         "\"999.999999999ms\" is not allowed: " + duration},
        {"ANegativeTime", {"string", "editor/autosave", "--", "-2h"}, "\"-2h\" is not allowed: " + duration},
    };
}

std::vector<Case> whatIsAllowed() {
    return {
        {"TheMinimum", {"number", "editor/size", "6"}, ""},
        {"TheMaximum", {"number", "editor/size", "72"}, ""},
        {"AChoice", {"string", "editor/theme", "dark"}, ""},
        {"AWholeNumber", {"number", "editor/count", "4294967295"}, ""},
        {"TheLeastSigned64BitNumber", {"string", "editor/id", "--", "-9223372036854775808"}, ""},
        {"TheGreatestSigned64BitNumber", {"string", "editor/id", "9223372036854775807"}, ""},
        {"LeadingZeros", {"string", "editor/id", "-00000000000000000000000001"}, ""},
        {"ElementsInRange", {"integers", "editor/margins", "0", "9"}, ""},
        {"AnEmptyList", {"integers", "editor/margins"}, ""},
        {"TheShortestTime", {"string", "editor/autosave", "1000ms"}, ""},
        {"TheShortestTimeInNanoseconds", {"string", "editor/autosave", "1000000000ns"}, ""},
        {"TheShortestTimeInMicroseconds", {"string", "editor/autosave", "1000000us"}, ""},
        {"AFractionOfMinutes", {"string", "editor/autosave", "0.016666666666666666666666666667min"}, ""},
        {"AFractionOfHours", {"string", "editor/autosave", "0.00028h"}, ""},
        {"Days", {"string", "editor/autosave", "400d"}, ""},
        {"AnyTextWithoutFormat", {"string", "editor/history", "3y"}, ""},
        {"AnUndeclaredGroup", {"string", "other/theme", "blue"}, ""},
        {"NoGroup", {"string", "thene", "blue"}, ""},
    };
}

} // namespace

TEST_P(NotAsDeclared, IsAWarning) {
    set(GetParam().setting);
    expectWarnings(warning(GetParam().setting[1], GetParam().warning), "1 property, 1 warning");
}

INSTANTIATE_TEST_SUITE_P(Each, NotAsDeclared, testing::ValuesIn(whatIsNotAllowed()),
                         [](auto const& test) { return test.param.name; });

TEST_P(AsDeclared, IsAccepted) {
    set(GetParam().setting);
    expectSound();
}

INSTANTIATE_TEST_SUITE_P(Each, AsDeclared, testing::ValuesIn(whatIsAllowed()),
                         [](auto const& test) { return test.param.name; });

TEST_F(CheckDeclared, SuggestsTheNearestDeclaredName) {
    for (char const* const name : {"editor/sizes", "editor/theem", "editor/veiw/wrap", "viewer/Zoom"})
        set({"integer", name, "1"});
    expectWarnings(warning("editor/sizes", "not declared (did you mean \"editor/size\"?)") +
                       warning("editor/theem", "not declared (did you mean \"editor/theme\"?)") +
                       warning("editor/veiw/wrap", "not declared (did you mean \"editor/view/wrap\"?)") +
                       warning("viewer/Zoom", "not declared (did you mean \"viewer/zoom\"?)"),
                   "4 properties, 4 warnings");
}

TEST_F(CheckDeclared, DoesNotSuggestDistantNames) {
    for (char const* const name : {"editor/colour", "editor/sz", "editor/x"})
        set({"integer", name, "1"});
    expectWarnings(warning("editor/colour", "not declared") + warning("editor/sz", "not declared") +
                       warning("editor/x", "not declared"),
                   "3 properties, 3 warnings");
}

TEST_F(CheckDeclared, SuggestsTheNearestOfSeveralNames) {
    declare(
        R"("e/fold": {"type": "string"}, "e/folders": {"type": "string"}, "e/folded": {"type": "string"})");
    set({"string", "e/foldr", ""});
    set({"string", "e/folderz", ""});
    expectWarnings(warning("e/folderz", "not declared (did you mean \"e/folders\"?)") +
                       warning("e/foldr", "not declared (did you mean \"e/fold\"?)"),
                   "2 properties, 2 warnings");
}

TEST_F(CheckDeclared, SuggestsTheFirstOfSeveralEquallyNearNames) {
    declare(R"("e/fold1": {"type": "string"}, "e/fold2": {"type": "string"}, "e/fold3": {"type": "string"})");
    set({"string", "e/fold", ""});
    expectWarnings(warning("e/fold", "not declared (did you mean \"e/fold1\"?)"), "1 property, 1 warning");
}

TEST_F(CheckDeclared, FindsAPropertyInPlaceOfAGroupAndViceVersa) {
    set({"integer", "viewer", "1"});
    set({"integer", "editor/size/x", "1"});
    expectWarnings(warning("editor/size", "a group is not allowed: expected a number from 6 to 72") +
                       warning("editor/size/x", "not declared (did you mean \"editor/size\"?)") +
                       warning("viewer", "not declared"),
                   "2 properties, 3 warnings");
}

TEST_F(CheckDeclared, FindsAPropertyWithoutAValue) {
    answer({"import", "-"}, R"({"viewer/zoom": {"type": "bytes", "base64": ""}})");
    expectWarnings(warning("viewer/zoom", "a property without a value is not allowed: expected an integer"),
                   "1 property, 1 warning");
}

TEST_F(CheckDeclared, ComparesUnsigned64BitNumbers) {
    declare(
        R"("a/x": {"type": "strings", "format": "whole", "minimum": "0", "maximum": "18446744073709551615"})");
    set({"strings", "a/x", "0", "-0", "18446744073709551615"});
    expectSound();
    set({"strings", "a/x", "18446744073709551616"});
    expectWarnings(
        warning("a/x", "element 1: \"18446744073709551616\" is not allowed: expected a list of whole numbers "
                       "as strings from 0 to 18446744073709551615"),
        "1 property, 1 warning");
}

TEST_F(CheckDeclared, LimitsWholeNumbersWithoutLimitsTo64Bits) {
    declare(R"("a/x": {"type": "string", "format": "whole"})");
    set({"string", "a/x", "18446744073709551616"});
    expectWarnings(
        warning("a/x", "\"18446744073709551616\" is not allowed: expected a whole number as a string"),
        "1 property, 1 warning");
}

TEST_F(CheckDeclared, RejectsInfinityAsAWholeNumber) {
    declare(R"("a/x": {"type": "number", "format": "whole"})");
    set({"number", "a/x", "inf"});
    expectWarnings(warning("a/x", "inf is not allowed: expected a whole number"), "1 property, 1 warning");
}

TEST_F(CheckDeclared, ComparesDurations) {
    declare(R"("a/x": {"type": "string", "format": "duration", "minimum": "-1.5h", "maximum": "90min"})");
    for (char const* const length : {"-90min", "-5400s", "0d", "1.5h", "0.0625d"}) {
        set({"string", "a/x", "--", length});
        expectSound();
    }
    for (char const* const length : {"-91min", "-5400.000000001s", "0.0626d", "5400000000001ns"}) {
        set({"string", "a/x", "--", length});
        EXPECT_EQ(4, run({"check", "--declared"}).status) << length;
    }
}

TEST_F(CheckDeclared, ComparesDurationsWithTheResolution) {
    declare(R"("a/x": {"type": "string", "format": "duration", "resolution": "1min"})");
    for (char const* const length : {"0s", "1min", "-2min", "120s", "0.5h", "0.05h", "1d", "60000000000ns",
                                     "123456789012345678901234567890min"}) {
        set({"string", "a/x", "--", length});
        expectSound();
    }
    for (char const* const length : {"90s", "1.5min", "-1s", "0.01h", "60000000001ns", "59.9999999999s"}) {
        set({"string", "a/x", "--", length});
        EXPECT_EQ(4, run({"check", "--declared"}).status) << length;
    }
}

TEST_F(CheckDeclared, StatesTheResolution) {
    declare(R"("a/x": {"type": "strings", "format": "duration", "resolution": "1min", "minimum": "5min"})");
    set({"strings", "a/x", "5min", "310s"});
    expectWarnings(warning("a/x",
                           "element 2: \"310s\" is not allowed: expected a list of durations in multiples of "
                           "1min (units: ns, us, ms, s, min, h, d) of at least 5min"),
                   "1 property, 1 warning");
}

TEST_F(CheckDeclared, IgnoresTheResolutionOfOtherFormats) {
    declare(R"("a/x": {"type": "string", "resolution": 5}, "a/y": {"type": "number", "resolution": "1s"})");
    set({"string", "a/x", "90s"});
    set({"number", "a/y", "0.5"});
    expectSound();
}

TEST_F(CheckDeclared, StatesTheOnlyLimit) {
    declare(R"("a/x": {"type": "number", "maximum": 0.5})");
    set({"number", "a/x", "1"});
    expectWarnings(warning("a/x", "1 is not allowed: expected a number of at most 0.5"),
                   "1 property, 1 warning");
}

TEST_F(CheckDeclared, StatesTheChoicesForTheElementsOfAList) {
    declare(R"("a/x": {"type": "integers", "choices": [1, 2]})");
    set({"integers", "a/x", "1", "3"});
    expectWarnings(
        warning("a/x", "element 2: 3 is not allowed: expected a list of integers, each one of 1, 2"),
        "1 property, 1 warning");
}

TEST_F(CheckDeclared, IgnoresUnknownFormats) {
    declare(R"("a/x": {"type": "string", "format": "date", "minimum": "2000-01-01"},
               "a/y": {"type": "number", "format": "date"})");
    set({"string", "a/x", "1999-12-31"});
    set({"number", "a/y", "0.5"});
    expectSound();
    set({"integer", "a/x", "1"});
    expectWarnings(warning("a/x", "an integer is not allowed: expected a string"), "2 properties, 1 warning");
}

TEST_F(CheckDeclared, IgnoresFormatsOfOtherKinds) {
    declare(R"("a/x": {"type": "number", "format": "duration", "maximum": 0.5},
               "a/y": {"type": "integer", "format": "whole", "maximum": 5})");
    set({"number", "a/x", "1"});
    set({"integer", "a/y", "6"});
    expectWarnings(warning("a/x", "1 is not allowed: expected a number of at most 0.5") +
                       warning("a/y", "6 is not allowed: expected an integer of at most 5"),
                   "2 properties, 2 warnings");
}

TEST_F(CheckDeclared, ReportsDamageFirst) {
    set({"string", "editor/sizes", "x"});
    putBytes(userFile, bytesOf(userFile) + "xyz");
    Outcome const outcome = run({"check", "--declared"});
    EXPECT_EQ(3, outcome.status);
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ("velmorand-register: " + userFile + ": unexpected data after the settings: 3 bytes\n" +
                  warning("editor/sizes", "not declared (did you mean \"editor/size\"?)"),
              outcome.err);
}

TEST_F(CheckDeclared, ReportsADamagedValueOnlyOnce) {
    answer({"import", "-"}, R"({"viewer/zoom": {"type": "bytes", "base64": "Qg=="}})");
    EXPECT_THAT(run({"check", "--declared"}), Complains(3, "\"viewer/zoom\": truncated: "));
}

TEST_F(CheckDeclared, ChecksEachFile) {
    set({"string", "editor/sizes", "x"});
    Outcome outcome = run({"--global", global, "check", "--declared"});
    EXPECT_EQ(4, outcome.status);
    EXPECT_EQ(userFile + ": 1 property, 1 warning\n" + globalFile + ": nothing saved yet\n", outcome.out);
    answer({"--global", global, "--scope", "global", "set", "integer", "viewer/zoom", "1"});
    outcome = run({"--global", global, "check", "--declared"});
    EXPECT_EQ(4, outcome.status);
    EXPECT_EQ(userFile + ": 1 property, 1 warning\n" + globalFile + ": sound, 1 property\n", outcome.out);
    EXPECT_EQ(globalFile + ": sound, 1 property\n", answer({"check", "--declared", global}));
    putBytes(globalFile, "garbage");
    EXPECT_EQ(3, run({"--global", global, "check", "--declared"}).status);
    std::filesystem::rename(userFile, globalFile);
    EXPECT_EQ(4, run({"--global", global, "check", "--declared"}).status);
}

TEST_F(CheckDeclared, IsOnlyDoneOnRequest) {
    set({"string", "editor/sizes", "x"});
    EXPECT_EQ(userFile + ": sound, 1 property\n", answer({"check"}));
}

TEST_F(CheckDeclared, ReportsThatNoCatalogueIsInstalled) {
    set({"string", "editor/sizes", "x"});
    std::filesystem::remove(installed + "/editor.json");
    Outcome const outcome = run({"check", "--declared"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ(userFile + ": sound, 1 property\n", outcome.out);
    EXPECT_THAT(outcome.err,
                testing::StartsWith("velmorand-register: note: no catalogue declares any settings ("));
}
