// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "notification/Listener.h"
#include "values/Forms.h"
#include "values/Kinds.h"
#include "values/Record.h"

namespace {

using forms::content;
using forms::outcome;
using forms::pending;
using forms::store;
using notification::Listener;
using testing::ElementsAre;
using testing::IsEmpty;
using utils::properties::SCOPE_GLOBAL;
using utils::properties::SCOPE_TEMPORARY;
using utils::properties::SCOPE_USER;

template <class Case>
class Read : public kinds::Test<Case> {
protected:
    /** The exception for a property that exists but cannot be opened. */
    static std::string cannotOpen() {
        return std::string(Case::Kind::tags) == "S" ? "PropertyNotFound" : "PropertyBadType";
    }
};
TYPED_TEST_SUITE(Read, kinds::AllCases, kinds::CaseNames);

TYPED_TEST(Read, ReturnsEveryValueBitForBit) {
    using Kind = typename TypeParam::Kind;
    for (auto const& value : Kind::zoo()) {
        this->write("a/x", value);
        EXPECT_EQ(kinds::recordOf<Kind>(value), kinds::recordOf<Kind>(this->read("a/x")));
    }
}

TYPED_TEST(Read, FindsTheUserScopeBeforeTheGlobalOne) {
    using Kind = typename TypeParam::Kind;
    this->write("x", Kind::one(), SCOPE_USER);
    this->write("x", Kind::other(), SCOPE_GLOBAL);
    EXPECT_EQ(Kind::one(), this->read("x"));
}

TYPED_TEST(Read, FindsTheUserScopeBeforeTheTemporaryOne) {
    using Kind = typename TypeParam::Kind;
    this->write("x", Kind::one(), SCOPE_USER);
    this->write("x", Kind::other(), SCOPE_TEMPORARY);
    EXPECT_EQ(Kind::one(), this->read("x"));
}

TYPED_TEST(Read, FindsTheGlobalScopeBeforeTheTemporaryOne) {
    using Kind = typename TypeParam::Kind;
    this->write("x", Kind::one(), SCOPE_GLOBAL);
    this->write("x", Kind::other(), SCOPE_TEMPORARY);
    EXPECT_EQ(Kind::one(), this->read("x"));
}

TYPED_TEST(Read, FindsTheTemporaryScopeLast) {
    using Kind = typename TypeParam::Kind;
    this->write("x", Kind::one(), SCOPE_TEMPORARY);
    EXPECT_EQ(Kind::one(), this->read("x"));
}

TYPED_TEST(Read, FindsTheNextScopeAfterARemoval) {
    using Kind = typename TypeParam::Kind;
    this->write("x", Kind::one(), SCOPE_USER);
    this->write("x", Kind::other(), SCOPE_GLOBAL);
    this->settings.delProperty("x", SCOPE_USER);
    EXPECT_EQ(Kind::other(), this->read("x"));
}

TYPED_TEST(Read, StopsAtAnotherKindOfValueInAnEarlierScope) {
    using Kind = typename TypeParam::Kind;
    store(this->settings, "/user/x", "?");
    this->write("x", Kind::one(), SCOPE_GLOBAL);
    this->expectRefused("x", "PropertyBadType");
}

TYPED_TEST(Read, StopsAtAGroupInAnEarlierScope) {
    this->settings.addGroup("x", SCOPE_USER);
    this->write("x", TypeParam::Kind::one(), SCOPE_GLOBAL);
    this->expectRefused("x", this->cannotOpen());
}

TYPED_TEST(Read, RefusesTheNameOfAGroup) {
    this->settings.addGroup("a/b", SCOPE_USER);
    this->expectRefused("a/b", this->cannotOpen());
}

TYPED_TEST(Read, RefusesAMissingName) {
    this->write("a/x", TypeParam::Kind::one());
    this->expectRefused("a/y", "PropertyNotFound");
    this->expectRefused("a/x/y", "PropertyNotFound");
    this->expectRefused("a/../a/x", "PropertyNotFound");
}

TYPED_TEST(Read, RefusesARemovedProperty) {
    this->write("a/x", TypeParam::Kind::one());
    this->settings.delProperty("a", SCOPE_USER);
    this->expectRefused("a/x", "PropertyNotFound");
}

TYPED_TEST(Read, RefusesAnEmptyProperty) {
    this->settings.addProperty("x", SCOPE_USER);
    this->expectRefused("x", "PropertyBadType");
}

TYPED_TEST(Read, RefusesEveryOtherKindOfValue) {
    using Kind = typename TypeParam::Kind;
    kinds::forEach([this](auto stored) {
        using Stored = decltype(stored);
        Stored::write(this->settings, nullptr, "x", Stored::one(), SCOPE_USER);
        if (std::string(Stored::tags) != Kind::tags)
            this->expectRefused("x", "PropertyBadType");
    });
}

TYPED_TEST(Read, RefusesAnEmptyListOfEveryOtherKind) {
    using Kind = typename TypeParam::Kind;
    for (std::string const tags : {"LS", "LN", "LI", "LB"}) {
        store(this->settings, "/user/x", tags + std::string(4, '\0'));
        if (tags != Kind::tags)
            this->expectRefused("x", "PropertyBadType");
    }
}

TYPED_TEST(Read, RefusesUnknownTags) {
    std::string const payload = kinds::recordOf<typename TypeParam::Kind>(TypeParam::Kind::one()).substr(1);
    for (std::string const tag : {"X", "s", "\xC9", "\xFF"}) {
        store(this->settings, "/user/x", tag + payload);
        this->expectRefused("x", "PropertyBadType");
    }
    for (std::string const tags : {"L", "LL", "LX", "Ls", "L\xC9"}) {
        store(this->settings, "/user/x", tags);
        this->expectRefused("x", "PropertyBadType");
    }
}

TYPED_TEST(Read, IgnoresBytesAfterTheRecord) {
    using Kind = typename TypeParam::Kind;
    store(this->settings, "/user/x", kinds::recordOf<Kind>(Kind::one()) + "more");
    EXPECT_EQ(Kind::one(), this->read("x"));
}

TYPED_TEST(Read, TreatsMissingBytesOfARecordAsZero) {
    using Kind = typename TypeParam::Kind;
    std::size_t const tags = std::string(Kind::tags).size();
    std::string const whole = kinds::recordOf<Kind>(Kind::one());
    for (std::size_t size = tags; size < whole.size(); ++size) {
        store(this->settings, "/user/x", whole.substr(0, size));
        record::Cursor cursor(whole.substr(tags, size - tags));
        typename Kind::Value expected = Kind::other();
        record::decode(cursor, expected);
        EXPECT_EQ(kinds::recordOf<Kind>(expected), kinds::recordOf<Kind>(this->read("x"))) << size;
    }
}

TYPED_TEST(Read, AcceptsTheNameWithExtraSlashes) {
    using Kind = typename TypeParam::Kind;
    this->write("a/x", Kind::one());
    EXPECT_EQ(Kind::one(), this->read("a//x"));
    EXPECT_EQ(Kind::one(), this->read("/a/x"));
    EXPECT_EQ(Kind::one(), this->read("a/x/"));
}

TYPED_TEST(Read, ChangesNothing) {
    using Kind = typename TypeParam::Kind;
    this->write("x", Kind::one());
    Listener listener;
    this->settings.addCallback("x", &listener);
    pending(this->settings).insert("x");
    (void)this->read("x");
    this->settings.removeCallback(&listener);
    EXPECT_EQ(kinds::recordOf<Kind>(Kind::one()), content(this->settings, "/user/x"));
    EXPECT_THAT(pending(this->settings), ElementsAre("x"));
    EXPECT_THAT(listener.told, IsEmpty());
}

TYPED_TEST(Read, ReleasesTheLock) {
    this->write("x", TypeParam::Kind::one());
    (void)this->read("x");
    EXPECT_TRUE(support::lockIsFree());
}

TYPED_TEST(Read, WorksInsideAListenerOfAnotherProperty) {
    using Kind = typename TypeParam::Kind;
    this->write("x", Kind::one());
    Listener listener;
    std::string seen;
    std::string missing;
    listener.whenTold = [&](std::string const& /*name*/) {
        seen = kinds::recordOf<Kind>(this->read("x"));
        missing = outcome([&] { (void)this->read("nothing"); });
    };
    this->settings.addCallback("y", &listener);
    this->settings.markAsChanged(nullptr, "y");
    this->settings.removeCallback(&listener);
    EXPECT_EQ(kinds::recordOf<Kind>(Kind::one()), seen);
    EXPECT_EQ("PropertyNotFound", missing);
}

template <class Form>
class ReadString : public forms::Test<Form> {};
TYPED_TEST_SUITE(ReadString, forms::Both, forms::Names);

TYPED_TEST(ReadString, ReturnsTheAvailableBytesForALengthBeyondTheEnd) {
    std::string value = "before";
    store(this->settings, "/user/x", "S" + record::int32(2'000'000'000) + "abc");
    this->settings._readString("x", value);
    EXPECT_EQ("abc", value);
}

TYPED_TEST(ReadString, IsEmptyForANegativeLength) {
    for (int const length : {-1, INT_MIN}) {
        std::string value = "before";
        store(this->settings, "/user/x", "S" + record::int32(length) + "abc");
        this->settings._readString("x", value);
        EXPECT_EQ("", value);
    }
}

template <class Form>
class ReadBoolean : public forms::Test<Form> {};
TYPED_TEST_SUITE(ReadBoolean, forms::Both, forms::Names);

TYPED_TEST(ReadBoolean, IsTrueForEveryByteExceptZero) {
    for (char const byte : {'\1', '\2', '\x7F', '\x80', '\xFF'}) {
        bool value = false;
        store(this->settings, "/user/x", std::string("B") + byte);
        this->settings._readBoolean("x", value);
        EXPECT_TRUE(value) << static_cast<int>(byte);
    }
}

template <class Form>
class ReadStrings : public forms::Test<Form> {
protected:
    std::vector<std::string> readRecord(std::string const& payload) {
        std::vector<std::string> values{"before"};
        store(this->settings, "/user/x", "LS" + payload);
        this->settings._readStrings("x", values);
        return values;
    }
};
TYPED_TEST_SUITE(ReadStrings, forms::Both, forms::Names);

TYPED_TEST(ReadStrings, TreatsMissingElementsAsEmpty) {
    EXPECT_THAT(this->readRecord(record::int32(3) + record::int32(2) + "ab"), ElementsAre("ab", "", ""));
}

TYPED_TEST(ReadStrings, ReturnsTheAvailableBytesForALengthBeyondTheEnd) {
    EXPECT_THAT(this->readRecord(record::int32(3) + record::int32(2'000'000'000) + "abc"),
                ElementsAre("abc", "", ""));
}

TYPED_TEST(ReadStrings, TreatsANegativeLengthAsEmptyAndContinues) {
    EXPECT_THAT(this->readRecord(record::int32(2) + record::int32(-7) + record::int32(1) + "a"),
                ElementsAre("", "a"));
}

TYPED_TEST(ReadStrings, SkipsATruncatedLength) {
    EXPECT_THAT(this->readRecord(record::int32(3) + record::int32(1) + "a" + std::string("\1\0", 2)),
                ElementsAre("a", "", ""));
}

template <class Form>
class ReadNumbers : public forms::Test<Form> {};
TYPED_TEST_SUITE(ReadNumbers, forms::Both, forms::Names);

TYPED_TEST(ReadNumbers, KeepsTheBitsOfASignallingNaN) {
    std::uint64_t const signalling = 0x7FF0000000000001;
    auto const isSignalling = [signalling](double const& number) {
        return std::memcmp(&number, &signalling, sizeof number) == 0;
    };
    std::string const bytes("\1\0\0\0\0\0\xF0\x7F", 8);
    double number = 0;
    store(this->settings, "/user/x", "N" + bytes);
    this->settings._readNumber("x", number);
    EXPECT_TRUE(isSignalling(number));
    std::vector<double> numbers;
    store(this->settings, "/user/x", "LN" + record::int32(2) + bytes + bytes);
    this->settings._readNumbers("x", numbers);
    ASSERT_EQ(2U, numbers.size());
    EXPECT_TRUE(isSignalling(numbers[0]));
    EXPECT_TRUE(isSignalling(numbers[1]));
}

TYPED_TEST(ReadNumbers, TreatsMissingBytesAsZero) {
    std::vector<double> values;
    store(this->settings, "/user/x", "LN" + record::int32(3) + std::string("\0\0\0\0\0\0\xF0\x3F\7", 9));
    this->settings._readNumbers("x", values);
    EXPECT_THAT(values, ElementsAre(1.0, kinds::numberOfBits(7), 0.0));
}

template <class Form>
class ReadIntegers : public forms::Test<Form> {};
TYPED_TEST_SUITE(ReadIntegers, forms::Both, forms::Names);

TYPED_TEST(ReadIntegers, TreatsMissingElementsAsZero) {
    std::vector<int> values;
    store(this->settings, "/user/x", "LI" + record::int32(4) + record::int32(-9) + "\1\1");
    this->settings._readIntegers("x", values);
    EXPECT_THAT(values, ElementsAre(-9, 0, 0, 0));
}

template <class Form>
class ReadBooleans : public forms::Test<Form> {};
TYPED_TEST_SUITE(ReadBooleans, forms::Both, forms::Names);

TYPED_TEST(ReadBooleans, TreatsEveryByteExceptZeroAsTrueAndMissingOnesAsFalse) {
    std::vector<bool> values;
    store(this->settings, "/user/x", "LB" + record::int32(5) + std::string("\2\0\xFF", 3));
    this->settings._readBooleans("x", values);
    EXPECT_EQ((std::vector<bool>{true, false, true, false, false}), values);
}

TYPED_TEST(ReadBooleans, ReadsListsOfAnyLengthIntoAListOfAnyLength) {
    constexpr int longest = 200; // more than three words of 64 bits
    std::string bytes;
    std::vector<bool> expected;
    for (int length = 0; length <= longest; ++length) {
        store(this->settings, "/user/x", "LB" + record::int32(length) + bytes);
        for (std::size_t held : {0U, 1U, 63U, 64U, 100U, 300U}) {
            std::vector<bool> values(held, true);
            this->settings._readBooleans("x", values);
            ASSERT_EQ(expected, values) << length << " booleans into a list of " << held;
        }
        bytes += static_cast<char>(length % 3 == 0 ? 0 : length);
        expected.push_back(bytes.back() != 0);
    }
}

template <class Case>
class ReadList : public kinds::Test<Case> {
protected:
    /** The capacity of `list` after it is cleared and the elements of `with` are appended one by one. */
    static std::size_t roomAfterReplacing(typename Case::Kind::Value list,
                                          typename Case::Kind::Value const& with) {
        list.clear();
        for (auto&& element : with)
            list.push_back(element);
        return list.capacity();
    }
};
TYPED_TEST_SUITE(ReadList, kinds::ListCases, kinds::CaseNames);

TYPED_TEST(ReadList, ReplacesTheElementsOfTheList) {
    using Kind = typename TypeParam::Kind;
    for (auto const& stored : {Kind::one(), Kind::other(), typename Kind::Value()}) {
        typename Kind::Value values = kinds::longList<Kind>(10);
        this->write("x", stored);
        Kind::read(this->settings, "x", values);
        EXPECT_EQ(stored, values);
    }
}

TYPED_TEST(ReadList, ReturnsAHundredThousandElements) {
    using Kind = typename TypeParam::Kind;
    auto const values = kinds::longList<Kind>(100'000);
    this->write("x", values);
    EXPECT_TRUE(values == this->read("x"));
}

TYPED_TEST(ReadList, IsEmptyForANegativeCount) {
    using Kind = typename TypeParam::Kind;
    for (int const count : {-1, INT_MIN}) {
        typename Kind::Value values = Kind::one();
        store(this->settings, "/user/x", Kind::tags + record::int32(count) + "elements");
        Kind::read(this->settings, "x", values);
        EXPECT_TRUE(values.empty());
    }
}

TYPED_TEST(ReadList, AcceptsACountLargerThanTheRecord) {
    using Kind = typename TypeParam::Kind;
    std::size_t const tags = std::string(Kind::tags).size();
    std::string bytes = kinds::recordOf<Kind>(Kind::one());
    bytes.replace(tags, 4, record::int32(1000));
    store(this->settings, "/user/x", bytes);
    typename Kind::Value expected = Kind::one();
    expected.resize(1000);
    EXPECT_EQ(expected, this->read("x"));
}

TYPED_TEST(ReadList, ReadsNoMoreElementsThanItsCount) {
    using Kind = typename TypeParam::Kind;
    std::size_t const tags = std::string(Kind::tags).size();
    std::string bytes = kinds::recordOf<Kind>(Kind::one());
    bytes.replace(tags, 4, record::int32(1));
    store(this->settings, "/user/x", bytes);
    typename Kind::Value expected = Kind::one();
    expected.resize(1);
    EXPECT_EQ(expected, this->read("x"));
}

TYPED_TEST(ReadList, GrowsAnEmptyListElementByElement) {
    using Kind = typename TypeParam::Kind;
    for (std::size_t const size : {0U, 1U, 3U, 63U, 64U, 65U, 100U, 129U, 1025U}) {
        auto const stored = kinds::longList<Kind>(size);
        this->write("x", stored);
        EXPECT_EQ(this->roomAfterReplacing({}, stored), this->read("x").capacity()) << size;
    }
}

TYPED_TEST(ReadList, GrowsAUsedListElementByElement) {
    using Kind = typename TypeParam::Kind;
    for (std::size_t const used : {1U, 3U, 10U, 100U, 5000U}) {
        for (std::size_t const size : {0U, 1U, 11U, 129U, 1025U}) {
            auto const stored = kinds::longList<Kind>(size);
            this->write("x", stored);
            typename Kind::Value values = kinds::longList<Kind>(used);
            typename Kind::Value before;
            before.reserve(values.capacity());
            ASSERT_EQ(before.capacity(), values.capacity());
            std::size_t const room = this->roomAfterReplacing(std::move(before), stored);
            Kind::read(this->settings, "x", values);
            EXPECT_EQ(room, values.capacity()) << used << " before " << size;
        }
    }
}

} // namespace
