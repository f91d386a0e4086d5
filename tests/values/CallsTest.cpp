// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/RegisterProbe.h"

// The file-system calls of the typed operations: a derived register sees one call for each field, in this order.

namespace {

using testing::ElementsAre;
using utils::properties::SCOPE_GLOBAL;
using utils::properties::SCOPE_TEMPORARY;
using utils::properties::SCOPE_USER;
using Calls = std::vector<std::string>;

/** The calls of writing a record into the existing property "x" of the user scope. */
Calls writing(Calls const& fields) {
    Calls calls{"open /user/x 1"};
    calls.insert(calls.end(), fields.begin(), fields.end());
    calls.emplace_back("close");
    return calls;
}

/** The calls of reading the property "x" of the user scope. */
Calls reading(Calls const& fields) {
    Calls calls{"exists /user/x", "open /user/x 0"};
    calls.insert(calls.end(), fields.begin(), fields.end());
    calls.emplace_back("close");
    return calls;
}

Calls operator+(Calls first, Calls const& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Calls const bytesOfOne = {"writeByte \\x00", "writeByte \\x00", "writeByte \\x00", "writeByte \\x00",
                          "writeByte \\x00", "writeByte \\x00", "writeByte \\xf0", "writeByte ?"};

Calls const eightBytes(8, "readByte");

class WriterCalls : public testing::Test {
protected:
    WriterCalls() { probe.store("/user/x", "?"); }

    std::unique_ptr<support::RegisterProbe> const owned = std::make_unique<support::RegisterProbe>();
    support::RegisterProbe& probe = *owned;
};

TEST_F(WriterCalls, OfAString) {
    probe._writeString(nullptr, "x", "hi", SCOPE_USER);
    EXPECT_EQ(writing({"writeByte S", "writeInt 2", "write hi"}), probe.takeCalls());
}

TEST_F(WriterCalls, OfTheEmptyStringIncludeAnEmptyWrite) {
    probe._writeString(nullptr, "x", "", SCOPE_USER);
    EXPECT_EQ(writing({"writeByte S", "writeInt 0", "write"}), probe.takeCalls());
}

TEST_F(WriterCalls, OfANumber) {
    probe._writeNumber(nullptr, "x", 1.0, SCOPE_USER);
    EXPECT_EQ(writing(Calls{"writeByte N"} + bytesOfOne), probe.takeCalls());
}

TEST_F(WriterCalls, OfAnInteger) {
    probe._writeInteger(nullptr, "x", -42, SCOPE_USER);
    EXPECT_EQ(writing({"writeByte I", "writeInt -42"}), probe.takeCalls());
}

TEST_F(WriterCalls, OfABoolean) {
    probe._writeBoolean(nullptr, "x", true, SCOPE_USER);
    EXPECT_EQ(writing({"writeByte B", "writeByte \\x01"}), probe.takeCalls());
}

TEST_F(WriterCalls, OfStrings) {
    probe._writeStrings(nullptr, "x", {"ab", "", "c"}, SCOPE_USER);
    EXPECT_EQ(writing({"writeByte L", "writeByte S", "writeInt 3", "writeInt 2", "write ab", "writeInt 0",
                       "write", "writeInt 1", "write c"}),
              probe.takeCalls());
}

TEST_F(WriterCalls, OfNumbers) {
    probe._writeNumbers(nullptr, "x", {1.0, 1.0}, SCOPE_USER);
    EXPECT_EQ(writing(Calls{"writeByte L", "writeByte N", "writeInt 2"} + bytesOfOne + bytesOfOne),
              probe.takeCalls());
}

TEST_F(WriterCalls, OfIntegers) {
    probe._writeIntegers(nullptr, "x", {7, -7}, SCOPE_USER);
    EXPECT_EQ(writing({"writeByte L", "writeByte I", "writeInt 2", "writeInt 7", "writeInt -7"}),
              probe.takeCalls());
}

TEST_F(WriterCalls, OfBooleans) {
    probe._writeBooleans(nullptr, "x", {true, false, true}, SCOPE_USER);
    EXPECT_EQ(writing({"writeByte L", "writeByte B", "writeInt 3", "writeByte \\x01", "writeByte \\x00",
                       "writeByte \\x01"}),
              probe.takeCalls());
}

TEST_F(WriterCalls, OfAnEmptyListEndWithTheCount) {
    probe._writeNumbers(nullptr, "x", {}, SCOPE_USER);
    EXPECT_EQ(writing({"writeByte L", "writeByte N", "writeInt 0"}), probe.takeCalls());
}

TEST_F(WriterCalls, OfANewPropertyCreateItAndOpenItAgain) {
    probe._writeInteger(nullptr, "a/b/x", 7, SCOPE_GLOBAL);
    EXPECT_THAT(probe.takeCalls(),
                ElementsAre("open /global/a/b/x 1", "exists /global/a/b/x", "exists /global/a/b",
                            "exists /global/a", "exists /global/a", "exists /global", "mkdir /global/a",
                            "mkdir /global/a/b", "open /global/a/b/x 1", "close", "open /global/a/b/x 1",
                            "writeByte I", "writeInt 7", "close"));
}

TEST_F(WriterCalls, OfANewPropertyInAnExistingGroupCreateItDirectly) {
    probe._writeInteger(nullptr, "y", 7, SCOPE_TEMPORARY);
    EXPECT_THAT(probe.takeCalls(), ElementsAre("open /temp/y 1", "writeByte I", "writeInt 7", "close"));
}

class ReaderCalls : public testing::Test {
protected:
    template <class Value>
    Calls callsOf(void (utils::properties::_Register::*reader)(std::string const&, Value&)) {
        Value value{};
        probe.takeCalls();
        (probe.*reader)("x", value);
        return probe.takeCalls();
    }

    std::unique_ptr<support::RegisterProbe> const owned = std::make_unique<support::RegisterProbe>();
    support::RegisterProbe& probe = *owned;
};

TEST_F(ReaderCalls, OfAString) {
    probe._writeString(nullptr, "x", "hi", SCOPE_USER);
    EXPECT_EQ(reading({"readByte", "readInt", "readBytes 2"}), callsOf(&support::RegisterProbe::_readString));
}

TEST_F(ReaderCalls, OfTheEmptyStringIncludeAnEmptyRead) {
    probe._writeString(nullptr, "x", "", SCOPE_USER);
    EXPECT_EQ(reading({"readByte", "readInt", "readBytes 0"}), callsOf(&support::RegisterProbe::_readString));
}

TEST_F(ReaderCalls, OfAStringPassItsLengthUnchanged) {
    probe.store("/user/x", std::string("S\xFF\xFF\xFF\xFFtext"));
    EXPECT_EQ(reading({"readByte", "readInt", "readBytes -1"}),
              callsOf(&support::RegisterProbe::_readString));
}

TEST_F(ReaderCalls, OfANumber) {
    probe._writeNumber(nullptr, "x", 1.0, SCOPE_USER);
    EXPECT_EQ(reading(Calls{"readByte"} + eightBytes), callsOf(&support::RegisterProbe::_readNumber));
}

TEST_F(ReaderCalls, OfAnInteger) {
    probe._writeInteger(nullptr, "x", 42, SCOPE_USER);
    EXPECT_EQ(reading({"readByte", "readInt"}), callsOf(&support::RegisterProbe::_readInteger));
}

TEST_F(ReaderCalls, OfABoolean) {
    probe._writeBoolean(nullptr, "x", true, SCOPE_USER);
    EXPECT_EQ(reading({"readByte", "readByte"}), callsOf(&support::RegisterProbe::_readBoolean));
}

TEST_F(ReaderCalls, OfStrings) {
    probe._writeStrings(nullptr, "x", {"ab", ""}, SCOPE_USER);
    EXPECT_EQ(
        reading({"readByte", "readByte", "readInt", "readInt", "readBytes 2", "readInt", "readBytes 0"}),
        callsOf(&support::RegisterProbe::_readStrings));
}

TEST_F(ReaderCalls, OfNumbers) {
    probe._writeNumbers(nullptr, "x", {1.0, 2.0}, SCOPE_USER);
    EXPECT_EQ(reading(Calls{"readByte", "readByte", "readInt"} + eightBytes + eightBytes),
              callsOf(&support::RegisterProbe::_readNumbers));
}

TEST_F(ReaderCalls, OfIntegers) {
    probe._writeIntegers(nullptr, "x", {1, 2}, SCOPE_USER);
    EXPECT_EQ(reading({"readByte", "readByte", "readInt", "readInt", "readInt"}),
              callsOf(&support::RegisterProbe::_readIntegers));
}

TEST_F(ReaderCalls, OfBooleans) {
    probe._writeBooleans(nullptr, "x", {true, false}, SCOPE_USER);
    EXPECT_EQ(reading({"readByte", "readByte", "readInt", "readByte", "readByte"}),
              callsOf(&support::RegisterProbe::_readBooleans));
}

TEST_F(ReaderCalls, SearchTheUserTheGlobalAndTheTemporaryScope) {
    probe._writeInteger(nullptr, "x", 42, SCOPE_TEMPORARY);
    Calls const calls = {"exists /user/x", "exists /global/x", "exists /temp/x", "open /temp/x 0",
                         "readByte",       "readInt",          "close"};
    EXPECT_EQ(calls, callsOf(&support::RegisterProbe::_readInteger));
}

class PropertyTypeCalls : public testing::Test {
protected:
    std::unique_ptr<support::RegisterProbe> const owned = std::make_unique<support::RegisterProbe>();
    support::RegisterProbe& probe = *owned;
    utils::properties::Type elements{};
};

TEST_F(PropertyTypeCalls, OfAListReadItsElementTag) {
    probe.store("/user/x", "LI");
    (void)probe.readPropertyType("x", &elements);
    EXPECT_EQ(reading({"readByte", "readByte"}), probe.takeCalls());
}

TEST_F(PropertyTypeCalls, OfAListReadOneTagIfTheOtherIsNotRequested) {
    probe.store("/user/x", "LI");
    (void)probe.readPropertyType("x", nullptr);
    EXPECT_EQ(reading({"readByte"}), probe.takeCalls());
}

TEST_F(PropertyTypeCalls, OfAScalarReadOneTag) {
    probe.store("/user/x", "I");
    (void)probe.readPropertyType("x", &elements);
    EXPECT_EQ(reading({"readByte"}), probe.takeCalls());
}

} // namespace
