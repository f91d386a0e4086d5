// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include <utils/properties/Register.h>

#include "Tool.h"

using namespace tool;
using utils::properties::_Register;
using utils::properties::SCOPE_USER;

namespace {

struct Case {
    std::string name;
    std::string record;
    std::string damage;
};

void PrintTo(Case const& test, std::ostream* out) {
    *out << test.name;
}

/** Checks of a register file that an application has saved. Its properties may contain any bytes. */
class Check : public Tool {
protected:
    Check() { _Register::initialize("", user); }

    void save(std::string const& name, std::string const& bytes) const {
        _Register& settings = *_Register::getInstance();
        settings.addProperty(name, SCOPE_USER);
        filesystem::FileHandle* const handle =
            settings.openProperty(name, filesystem::FileSystem::MODE_WRITE, SCOPE_USER);
        settings.write(handle, bytes.data(), static_cast<long>(bytes.size()));
        settings.closeProperty(*handle);
        settings.save();
    }
};

class Damage : public Check, public testing::WithParamInterface<Case> {};
class Soundness : public Check, public testing::WithParamInterface<Case> {};

template <std::size_t Size>
std::string bytes(char const (&literal)[Size]) {
    return {literal, Size - 1};
}

std::vector<Case> everyDamage() {
    return {
        {"UnknownType", "xyz", "unknown type: 0x78"},
        {"TypeAboveAscii", "\xFF", "unknown type: 0xff"},
        {"StringWithoutLength", bytes("S"), "truncated: 4 bytes expected at offset 1, 0 found"},
        {"StringWithTruncatedLength", bytes("S\1\0"), "truncated: 4 bytes expected at offset 1, 2 found"},
        {"TruncatedString", bytes("S\x09\0\0\0a"), "truncated: 9 bytes expected at offset 5, 1 found"},
        {"StringOfNegativeLength", bytes("S\xFF\xFF\xFF\xFF"), "negative length: -1"},
        {"StringWithTrailingBytes", bytes("S\1\0\0\0ab"), "unexpected data after the value: 1 byte"},
        {"TruncatedNumber", bytes("N\0\0\0\0\0\0\0"), "truncated: 8 bytes expected at offset 1, 7 found"},
        {"NumberWithTrailingBytes", bytes("N\0\0\0\0\0\0\0\0xy"), "unexpected data after the value: 2 bytes"},
        {"TruncatedInteger", bytes("I\1\0\0"), "truncated: 4 bytes expected at offset 1, 3 found"},
        {"IntegerWithTrailingBytes", bytes("I\1\0\0\0\0"), "unexpected data after the value: 1 byte"},
        {"TruncatedBoolean", bytes("B"), "truncated: 1 byte expected at offset 1, 0 found"},
        {"BooleanWithTrailingBytes", bytes("B\1\1"), "unexpected data after the value: 1 byte"},
        {"ListWithoutElementType", bytes("L"), "truncated: 1 byte expected at offset 1, 0 found"},
        {"ListOfUnknownType", bytes("Lx\0\0\0\0"), "unknown element type: 0x78"},
        {"ListOfLists", bytes("LL\0\0\0\0"), "unknown element type: 0x4c"},
        {"ListWithoutCount", bytes("LI"), "truncated: 4 bytes expected at offset 2, 0 found"},
        {"ListOfNegativeCount", bytes("LB\xFE\xFF\xFF\xFF"), "negative count: -2"},
        {"TruncatedList", bytes("LI\2\0\0\0\1\0\0\0\2"), "truncated: 4 bytes expected at offset 10, 1 found"},
        {"ListLongerThanMemory", bytes("LI\xFF\xFF\xFF\x7F"),
         "truncated: 2147483647 elements expected, only 0 bytes left"},
        {"ListWithTrailingBytes", bytes("LB\1\0\0\0\1\1"), "unexpected data after the value: 1 byte"},
        {"TruncatedElement", bytes("LS\1\0\0\0\2\0\0\0a"),
         "truncated: 2 bytes expected at offset 10, 1 found"},
        {"ElementOfNegativeLength", bytes("LS\1\0\0\0\xFE\xFF\xFF\xFF"), "negative length: -2"},
    };
}

std::vector<Case> everySoundRecord() {
    return {
        {"NeverWritten", "", ""},
        {"String", bytes("S\1\0\0\0\xFF"), ""},
        {"EmptyString", bytes("S\0\0\0\0"), ""},
        {"Number", bytes("N\0\0\0\0\0\0\xF8\xFF"), ""},
        {"Integer", bytes("I\xFF\xFF\xFF\xFF"), ""},
        {"Boolean", bytes("B\0"), ""},
        {"BooleanNeitherZeroNorOne", bytes("B\2"), ""},
        {"Strings", bytes("LS\2\0\0\0\1\0\0\0a\0\0\0\0"), ""},
        {"Numbers", bytes("LN\1\0\0\0\0\0\0\0\0\0\0\0"), ""},
        {"Integers", bytes("LI\1\0\0\0\1\0\0\0"), ""},
        {"Booleans", bytes("LB\2\0\0\0\1\0"), ""},
        {"EmptyList", bytes("LS\0\0\0\0"), ""},
    };
}

} // namespace

TEST_P(Damage, OfARecordIsReported) {
    save("group/x", GetParam().record);
    EXPECT_THAT(run({"check"}), Complains(3, userFile + ": \"group/x\": " + GetParam().damage + '\n'));
}

INSTANTIATE_TEST_SUITE_P(Each, Damage, testing::ValuesIn(everyDamage()),
                         [](auto const& test) { return test.param.name; });

TEST_P(Soundness, OfARecordIsRecognised) {
    save("group/x", GetParam().record);
    EXPECT_EQ(userFile + ": sound, 1 property\n", answer({"check"}));
}

INSTANTIATE_TEST_SUITE_P(Each, Soundness, testing::ValuesIn(everySoundRecord()),
                         [](auto const& test) { return test.param.name; });

TEST_F(Check, NamesEachDamagedProperty) {
    save("a", "x");
    save("b", bytes("B\1"));
    save("c\x1b", "B");
    Outcome const outcome = run({"check"});
    EXPECT_EQ(3, outcome.status);
    EXPECT_EQ("", outcome.out);
    std::string const begin = "velmorand-register: " + userFile + ": ";
    EXPECT_EQ(begin + "\"a\": unknown type: 0x78\n" + begin +
                  "\"c\\u001b\": truncated: 1 byte expected at offset 1, 0 found\n",
              outcome.err);
}

TEST_F(Check, RefusesALengthThatIsCorrectOnlyInItsLow32Bits) {
    putBytes(userFile, bytes("\xD9\xD9\xF7\x83\1\x1A\x12\xC3\x3B\x0E\xD8\x18\x4D" // with the CRC-32 of
                             "\xA1\x61"                                           // {"f": a byte string
                             "f\x5B\x40\0\0\0\0\0\0\1"                            // of 2^62 + 1 bytes}
                             "x"));
    EXPECT_THAT(run({"check"}), Complains(3, userFile + ": damaged: truncated (list its copies"));
}

TEST_F(Check, ContinuesWithTheGlobalFile) {
    save("a", "x");
    answer({"--global", global, "--scope", "global", "import", "-"}, "{}");
    Outcome const outcome = run({"--global", global, "check"});
    EXPECT_EQ(3, outcome.status);
    EXPECT_EQ(globalFile + ": sound, 0 properties\n", outcome.out);
    EXPECT_THAT(outcome.err, testing::HasSubstr("\"a\": unknown type: 0x78"));
}

TEST_F(Check, DoesNotPreventOtherCommandsFromShowingTheValue) {
    save("x", bytes("LS\2\0\0\0\1\0\0\0a"));
    EXPECT_EQ("a\n\n", answer({"get", "x"}));
    EXPECT_EQ("strings   user   x: [\"a\", \"\"]\n", answer({"list", "-l"}));
    EXPECT_EQ("{\n  \"x\": {\"type\": \"strings\", \"value\": [\"a\", \"\"], \"record\": "
              "\"TFMCAAAAAQAAAGE=\"}\n}\n",
              answer({"export"}));
}

using CheckOfAMissingFile = Tool;

TEST_F(CheckOfAMissingFile, ReportsThatNothingHasBeenSavedYet) {
    EXPECT_EQ(userFile + ": nothing saved yet\n", answer({"check"}));
    EXPECT_EQ(globalFile + ": nothing saved yet\n",
              answer({"--global", global, "--scope", "global", "check"}));
    Outcome const outcome = runBare({"check"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ(at(".config/velmorand/Velmorand.dat") + ": nothing saved yet\n", outcome.out);
}

TEST_F(CheckOfAMissingFile, FailsIfTheFileIsNamed) {
    EXPECT_THAT(run({"check", userFile}), Complains(1, userFile + ": No such file or directory\n"));
    EXPECT_THAT(run({"check", user}), Complains(1, userFile + ": No such file or directory\n"));
}
