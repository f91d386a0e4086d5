// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem/Direct.h>
#include <utils/properties/Register.h>
#include <velmorand/Listener.h>
#include <velmorand/Lock.h>
#include <velmorand/Property.h>

#include "support/BlockedThread.h"
#include "support/Failure.h"

namespace {

struct Parsed {
    int value = 0;
};

struct Percent {
    explicit Percent(int from) : value(from) {}
    int value;
};

} // namespace

template <>
struct velmorand::Stored<Parsed> {
    using Type = std::string;
    static std::string store(Parsed parsed) { return std::to_string(parsed.value); }
    static std::optional<Parsed> load(std::string const& text) { return Parsed{std::stoi(text)}; }
};

template <>
struct velmorand::Stored<Percent> {
    using Type = int;
    static int store(Percent percent) { return percent.value; }
    static std::optional<Percent> load(int value) { return Percent(value); }
};

namespace {

enum class Theme { light, dark };
VELMORAND_ENUM(Theme, {Theme::light, "light"}, {Theme::dark, "dark"})

using namespace velmorand;
using namespace std::chrono_literals;
using support::failure;
using testing::ElementsAre;
using testing::IsEmpty;

/** Whether a call `set(value)` of such a property compiles. */
template <class T, class From, class Enable = void>
inline constexpr bool canSet = false;
template <class T, class From>
inline constexpr bool
    canSet<T, From, std::void_t<decltype(std::declval<Property<T> const&>().set(std::declval<From>()))>> =
        true;

template <class T, class From>
inline constexpr bool canDeclare = std::is_constructible_v<Property<T>, std::string, From>;

/** Converts implicitly to a `T`. */
template <class T>
struct Convertible {
    operator T() const;
};

int computedWidth() {
    return 42;
}

/** Creates a property in the user scope whose record is `bytes`, valid or not. */
void putRecord(std::string const& name, std::string_view bytes) {
    auto& settings = *utils::properties::_Register::getInstance();
    char* const content = filesystem::direct::make(settings, "user", "a", name, bytes.size());
    ASSERT_NE(nullptr, content);
    bytes.copy(content, bytes.size());
}

Property<double> sizeProperty() {
    return Property<double>{"a/size", 11.0, range(6.0, 72.0)};
}

} // namespace

TEST(Get, ReturnsTheFallbackWhileNoScopeHasTheName) {
    EXPECT_EQ(11.0, sizeProperty().get());
    EXPECT_EQ("", sizeProperty().problem());
}

TEST(Get, ReturnsTheFallbackForAnotherKindOfValue) {
    write("a/size", 12);
    EXPECT_EQ(11.0, sizeProperty().get());
    EXPECT_EQ("a/size: expected a number, found an integer", sizeProperty().problem());
    write("a/size", std::vector<std::string>{"x"});
    EXPECT_EQ("a/size: expected a number, found a list of strings", sizeProperty().problem());
}

TEST(Get, ReturnsTheFallbackForAGroup) {
    write("a/size/x", 1);
    EXPECT_EQ(11.0, sizeProperty().get());
    EXPECT_EQ("a/size: expected a number, found a group", sizeProperty().problem());
    Property<std::string> const text{"a/size", "none"};
    EXPECT_EQ("none", text.get());
    EXPECT_EQ("a/size: expected a string, found a group", text.problem());
}

TEST(Get, ReturnsTheFallbackForANameThatIsNotValid) {
    Property<int> const setting{"a/../b", 1};
    EXPECT_EQ(1, setting.get());
    EXPECT_EQ("invalid name: \"a/../b\": a level cannot be \"..\"", setting.problem());
}

TEST(Get, ReturnsTheFallbackForAValueOutOfRange) {
    write("a/size", 72.0);
    EXPECT_EQ(72.0, sizeProperty().get());
    write("a/size", 72.5);
    EXPECT_EQ(11.0, sizeProperty().get());
    EXPECT_EQ("a/size: 72.5 is not allowed: expected 6 to 72", sizeProperty().problem());
    write("a/size", std::nan(""));
    EXPECT_EQ("a/size: \"nan\" is not allowed: expected 6 to 72", sizeProperty().problem());
}

TEST(Get, ReturnsTheFallbackForAnUnknownName) {
    Property<Theme> const theme{"a/theme", Theme::dark};
    write("a/theme", "purple");
    EXPECT_EQ(Theme::dark, theme.get());
    EXPECT_EQ(R"(a/theme: "purple" is not allowed: expected one of "light", "dark")", theme.problem());
}

TEST(Get, ReturnsTheFallbackForAValueThatIsNotAChoice) {
    Property<std::string> const unit{"a/unit", "cm", choices({"cm", "in"})};
    write("a/unit", "mm");
    EXPECT_EQ("cm", unit.get());
    EXPECT_EQ(R"(a/unit: "mm" is not allowed: expected one of "cm", "in")", unit.problem());
}

TEST(AssignedProperty, IsThatOfTheOtherName) {
    Property<int> assigned{"a/x", 1};
    assigned = Property<int>{"a/y", 2};
    EXPECT_EQ("a/y", assigned.name());
    EXPECT_EQ(2, assigned.get());
}

TEST(Set, AcceptsAnElementOfABooleanList) {
    Property<bool> const on{"a/on", false};
    std::vector<bool> list{true};
    on.set(list[0]);
    EXPECT_TRUE(on.get());
}

TEST(LongInvalidValue, IsTruncatedBetweenCharactersInTheMessage) {
    Property<std::string> const unit{"a/unit", "cm", choices({"cm", "in"})};
    std::string whole;
    for (int i = 0; i < 100; ++i)
        whole += "€"; // 3 bytes
    write("a/unit", whole);
    // At most 200 bytes, including the opening quote.
    EXPECT_EQ("a/unit: \"" + whole.substr(0, 66 * 3) + "... is not allowed: expected one of \"cm\", \"in\"",
              unit.problem());
}

TEST(Get, ReturnsTheFallbackForAValueThatTheProgramsCheckRefuses) {
    Property<int> const even{"a/even", 2, check([](int value) { return value % 2 == 0; }, "an even number")};
    write("a/even", 3);
    EXPECT_EQ(2, even.get());
    EXPECT_EQ("a/even: 3 is not allowed: expected an even number", even.problem());
}

TEST(Get, ReturnsTheFallbackForADurationThatTheTypeCannotRepresent) {
    Property<std::chrono::minutes> const whole{"a/whole", 5min};
    write("a/whole", "90s");
    EXPECT_EQ(5min, whole.get());
    EXPECT_EQ(R"(a/whole: "90s" is not allowed: expected a duration such as 10min (a multiple of 1min))",
              whole.problem());
}

TEST(Get, ReturnsTheFallbackForTextThatIsNotADuration) {
    using Seconds = std::chrono::duration<double>;
    Property<Seconds> const fractional{"a/fractional", Seconds(0.5)};
    write("a/fractional", "1.5");
    EXPECT_EQ(Seconds(0.5), fractional.get());
    EXPECT_EQ(R"(a/fractional: "1.5" is not allowed: expected a duration such as 1.5s)",
              fractional.problem());
}

TEST(Problem, NumbersTheInvalidElementOfAList) {
    Property<std::vector<std::chrono::minutes>> const delays{"a/delays"};
    write("a/delays", std::vector<std::string>{"1h", "90s", "x"});
    EXPECT_EQ(
        R"(a/delays: element 2: "90s" is not allowed: expected a duration such as 10min (a multiple of 1min))",
        delays.problem());
    Property<std::vector<short>> const tabs{"a/tabs"};
    write("a/tabs", std::vector<int>{4, 8, 70'000});
    EXPECT_EQ("a/tabs: element 3: 70000 is not allowed: expected -32768 to 32767", tabs.problem());
}

TEST(Problem, StatesTheLimitsOfNumbersAndDurationsWithoutQuotes) {
    Property<long long> const id{"a/id", 0LL, range(-1LL, 9LL)};
    write("a/id", "11");
    EXPECT_EQ(R"(a/id: "11" is not allowed: expected -1 to 9)", id.problem());
    Property<std::chrono::seconds> const delay{"a/delay", 5s, atLeast(1s)};
    write("a/delay", "0s");
    EXPECT_EQ(R"(a/delay: "0s" is not allowed: expected at least 1s)", delay.problem());
}

TEST(Problem, StatesTheLimitsOfTextInQuotes) {
    Property<std::string> const name{"a/name", "c", range("b", "d")};
    write("a/name", "e");
    EXPECT_EQ(R"(a/name: "e" is not allowed: expected "b" to "d")", name.problem());
}

TEST(Get, ReturnsTheFallbackForAnInvalidElementOfAList) {
    Property<std::vector<int>> const widths{"a/widths", {5}, atLeast(1)};
    write("a/widths", std::vector<int>{3, 0});
    EXPECT_THAT(widths.get(), ElementsAre(5));
    EXPECT_EQ("a/widths: element 2: 0 is not allowed: expected at least 1", widths.problem());
}

TEST(Get, ReturnsTheFallbackForATruncatedValue) {
    Property<int> const width{"a/width", 7};
    putRecord("a/width", "I\x01");
    EXPECT_EQ(7, width.get());
    EXPECT_EQ("a/width: expected an integer, found a truncated value", width.problem());
}

TEST(Get, AllocatesNothingForADamagedCount) {
    Property<std::vector<double>> const numbers{"a/numbers", {1.5}};
    putRecord("a/numbers", "LN\xff\xff\xff\x7f");
    EXPECT_THAT(numbers.get(), ElementsAre(1.5));
    Property<std::vector<std::string>> const texts{"a/texts"};
    putRecord("a/texts", "LS\xff\xff\xff\x7f");
    EXPECT_THAT(texts.get(), IsEmpty());
}

TEST(Get, ReturnsTheFallbackForBytesThatAreNotAValue) {
    Property<int> const width{"a/width", 7};
    putRecord("a/width", "?");
    EXPECT_EQ("a/width: expected an integer, found bytes that are not a value", width.problem());
    putRecord("a/width", "");
    EXPECT_EQ("a/width: expected an integer, found an empty property", width.problem());
}

TEST(Get, ReturnsTheFallbackIfTheProgramsConversionThrows) {
    Property<Parsed> const parsed{"a/parsed"};
    write("a/parsed", "not a number");
    EXPECT_EQ(0, parsed.get().value);
    EXPECT_EQ("a/parsed: \"not a number\" is not allowed", parsed.problem());
    write("a/parsed", "7");
    EXPECT_EQ(7, parsed.get().value);
}

TEST(Get, ReportsTheValueOfTheFirstScope) {
    Property<std::string> const text{"a/x"};
    write("a/x", 1);
    write("a/x/y", 1, SCOPE_GLOBAL);
    EXPECT_EQ("a/x: expected a string, found an integer", text.problem());
}

TEST(Get, ShortensALongValueInTheProblem) {
    Property<std::string> const unit{"a/unit", "cm", choices({"cm"})};
    write("a/unit", std::string(1'000'000, 'x'));
    EXPECT_GT(300U, unit.problem().size());
}

TEST(Get, HidesChangesUnderALockFromOtherThreads) {
    Property<int> const width{"a/width", 1};
    int seen = 0;
    std::optional<support::BlockedThread> reader;
    {
        Lock const lock;
        width.set(2);
        EXPECT_EQ(2, width.get());
        reader.emplace([&] { seen = width.get(); });
        width.set(3);
    }
    reader->join();
    EXPECT_EQ(3, seen);
}

TEST(Get, HidesChangesThatAreBeingAnnouncedFromOtherThreads) {
    Property<int> const width{"a/width", 1};
    int seen = 0;
    std::optional<support::BlockedThread> reader;
    Listener const listener{"a", [&](std::string const&) {
                                if (width.get() == 2) {
                                    reader.emplace([&] { seen = width.get(); });
                                    utils::properties::_Register::getInstance()->_writeInteger(
                                        nullptr, "a/width", 3, SCOPE_USER);
                                }
                            }};
    utils::properties::_Register::getInstance()->_writeInteger(nullptr, "a/width", 2, SCOPE_USER);
    reader->join();
    EXPECT_EQ(3, seen);
}

TEST(Get, ReadsTheFirstScopeThatHasTheName) {
    Property<int> const width{"a/width", 1};
    write("a/width", 2, SCOPE_TEMPORARY);
    EXPECT_EQ(2, width.get());
    write("a/width", 3, SCOPE_GLOBAL);
    EXPECT_EQ(3, width.get());
    write("a/width", 4);
    EXPECT_EQ(4, width.get());
}

TEST(Get, ComputesAFallbackWhenItIsNeeded) {
    int now = 1;
    Property<int> const width{"a/width", [&now] { return now; }};
    EXPECT_EQ(1, width.get());
    now = 2;
    EXPECT_EQ(2, width.get());
    EXPECT_EQ(2, width.fallback());
    width.set(9);
    now = 3;
    EXPECT_EQ(9, width.get());
}

TEST(Get, ComputesAFallbackThatIsABoolean) {
    Property<bool> const isWide{"a/wide", [] { return false; }};
    EXPECT_FALSE(isWide.get());
}

TEST(Get, ComputesAFallbackWithAFunction) {
    Property<int> const width{"a/width", computedWidth};
    EXPECT_EQ(42, width.get());
}

TEST(Get, ReturnsTheSameDurationEveryTime) {
    Property<std::chrono::seconds> const delay{"a/delay", std::chrono::seconds(1)};
    delay.set(std::chrono::minutes(1));
    EXPECT_EQ(std::chrono::seconds(60), delay.get());
    EXPECT_EQ(std::chrono::seconds(60), delay.get());
}

TEST(Get, ReturnsATypeWithoutADefaultConstructor) {
    Property<Percent> const share{"a/share", Percent(50)};
    share.set(Percent(70));
    EXPECT_EQ(70, share.get().value);
    EXPECT_EQ(70, share.get().value);
}

TEST(Set, RefusesValuesThatTheDeclarationDoesNotAllow) {
    Property<double> const size = sizeProperty();
    EXPECT_EQ("cannot set \"a/size\": 80 is not allowed: expected 6 to 72", failure([&] { size.set(80.0); }));
    EXPECT_FALSE(size.isSet());
    Property<int> const least{"a/least", 5, atLeast(1)};
    EXPECT_EQ("cannot set \"a/least\": 0 is not allowed: expected at least 1",
              failure([&] { least.set(0); }));
    Property<int> const most{"a/most", 5, atMost(9)};
    EXPECT_EQ("cannot set \"a/most\": 10 is not allowed: expected at most 9", failure([&] { most.set(10); }));
    Property<std::vector<std::string>> const units{"a/units", {}, choices({"cm", "in"})};
    EXPECT_EQ(R"(cannot set "a/units": element 2: "mm" is not allowed: expected one of "cm", "in")",
              failure([&] {
                  units.set({"cm", "mm"});
              }));
    Property<std::string> const checked{"a/checked", "",
                                        check([](std::string const& text) { return text.empty(); })};
    EXPECT_EQ(R"(cannot set "a/checked": "x" is not allowed)", failure([&] { checked.set("x"); }));
}

TEST(Set, RefusesAnIntegerOutsideTheRangeOfTheType) {
    Property<unsigned char> const byte{"a/byte"};
    byte.set(255);
    EXPECT_EQ(255, byte.get());
    EXPECT_EQ("cannot set \"a/byte\": 256 is not allowed: expected 0 to 255",
              failure([&] { byte.set(256); }));
    Property<unsigned> const count{"a/count"};
    EXPECT_EQ("cannot set \"a/count\": -1 is not allowed: expected 0 to 4294967295",
              failure([&] { count.set(-1); }));
}

TEST(Set, RefusesValuesThatCannotBeStored) {
    Property<Theme> const theme{"a/theme"};
    EXPECT_EQ("cannot set \"a/theme\": enum value 7 has no name",
              failure([&] { theme.set(static_cast<Theme>(7)); }));
}

TEST(Set, RefusesANumberThatTheTypeWouldRound) {
    Property<float> const scale{"a/scale"};
    EXPECT_EQ(
        "cannot set \"a/scale\": 2147483647 is not allowed: expected a number that the type can represent",
        failure([&] { scale.set(2'147'483'647); }));
    scale.set(16'777'216);
    EXPECT_EQ(16'777'216.0F, scale.get());
}

TEST(Set, RefusesADurationThatTheTypeCannotRepresent) {
    Property<std::chrono::nanoseconds> const wait{"a/wait"};
    EXPECT_EQ("cannot set \"a/wait\": the type cannot represent the value",
              failure([&] { wait.set(10'000'000h); }));
    Property<std::chrono::duration<int>> const small{"a/small"};
    EXPECT_EQ("cannot set \"a/small\": the type cannot represent the value",
              failure([&] { small.set(std::chrono::seconds(5'000'000'000)); }));
    wait.set(10h);
    EXPECT_EQ(10h, wait.get());
}

TEST(Set, WritesAndAnnouncesAnEqualValueOnce) {
    std::vector<std::string> heard;
    Listener const listener{"a", [&heard](std::string const& name) { heard.push_back(name); }};
    Property<std::vector<double>> const list{"a/list"};
    list.set({0.5, std::nan("")});
    list.set({0.5, std::nan("")});
    EXPECT_THAT(heard, ElementsAre("a/list"));
    list.set({-0.0});
    list.set({0.0});
    EXPECT_EQ(3U, heard.size());
}

TEST(Set, WritesAValueThatOnlyAnotherScopeHas) {
    Property<int> const width{"a/width", 7};
    write("a/width", 1, SCOPE_GLOBAL);
    width.set(1);
    EXPECT_TRUE(width.isSet());
    Property<int> const height{"a/height", 7};
    height.set(7);
    EXPECT_TRUE(height.isSet());
}

TEST(Set, ReplacesAValueOfAnotherKind) {
    Property<int> const width{"a/width", 7};
    write("a/width", "wide");
    width.set(3);
    EXPECT_EQ(3, width.get());
}

TEST(Set, AcceptsAnyText) {
    Property<std::string> const text{"a/text"};
    text.set("literal");
    EXPECT_EQ("literal", text.get());
    text.set(std::string_view("view"));
    EXPECT_EQ("view", text.get());
}

TEST(Set, AcceptsANumberWithoutASuffix) {
    Property<double> const size{"a/size", 11};
    size.set(12);
    EXPECT_EQ(12.0, size.get());
    Property<std::uint64_t> const id{"a/id", 1};
    id.set(2);
    EXPECT_EQ(2U, id.get());
    Property<float> const scale{"a/scale", 1.5};
    scale.set(2);
    EXPECT_EQ(2.0F, scale.get());
    size.set(0.5F);
    EXPECT_EQ(0.5, size.get());
}

TEST(Set, DoesNotCompileForUnintendedConversions) {
    static_assert(canSet<int, int> && canSet<bool, bool> && canSet<double, int> && canSet<double, float>);
    static_assert(canSet<int, short> && canSet<std::int64_t, int> && canSet<std::int64_t, unsigned>);
    static_assert(canSet<std::string, char const*> && canSet<std::string, std::string_view>);
    static_assert(!canSet<bool, char const*> && !canSet<bool, char const(&)[6]> && !canSet<bool, int>);
    static_assert(!canSet<bool, std::nullptr_t> && !canSet<int, bool> && !canSet<double, bool>);
    static_assert(!canSet<int, double> && !canSet<int, float> && !canSet<int, long long> &&
                  !canSet<unsigned, long long>);
    static_assert(!canSet<int, char> && !canSet<float, double> && !canSet<float, std::int64_t>);
    static_assert(!canSet<std::string, int> && !canSet<std::string, char> && !canSet<Theme, int>);
    static_assert(!canSet<Theme, char const*> && !canSet<std::vector<int>, int>);
    static_assert(canSet<bool, std::vector<bool>::reference> && canSet<std::uint64_t, long>);
    static_assert(!canSet<int, Convertible<double>> && !canSet<bool, Convertible<void*>> &&
                  !canSet<double, Convertible<float>>);
    static_assert(!canSet<std::string, std::nullptr_t>);
    static_assert(!canSet<bool, Convertible<bool (*)()>>);
    static_assert(!canSet<int, Theme> && !canSet<std::chrono::seconds, int>);
    static_assert(canSet<std::chrono::milliseconds, std::chrono::seconds>);
    static_assert(!canSet<std::chrono::seconds, std::chrono::milliseconds>);
}

TEST(Declaring, DoesNotCompileForUnintendedConversionsOfTheFallback) {
    static_assert(canDeclare<int, int> && canDeclare<std::string, char const*> && canDeclare<double, int>);
    static_assert(!canDeclare<bool, char const*> && !canDeclare<int, double> && !canDeclare<int, bool>);
    static_assert(!canDeclare<std::string, int> && !canDeclare<Theme, int>);
}

TEST(Declaring, RefusesValuesThatTheTypeCannotRepresent) {
    std::string const refusal =
        R"(cannot declare "a/x": the type cannot represent the fallback, a limit or a choice)";
    EXPECT_EQ(refusal, failure([] { Property<unsigned> const property("a/x", 0, atLeast(-1)); }));
    EXPECT_EQ(refusal, failure([] { Property<unsigned> const property("a/x", -1); }));
    EXPECT_EQ(refusal, failure([] { Property<unsigned char> const property("a/x", 300); }));
    EXPECT_EQ(refusal, failure([] { Property<float> const property("a/x", 1e300); }));
    EXPECT_EQ(refusal,
              failure([] { Property<std::chrono::nanoseconds> const property("a/x", 10'000'000h); }));
}

TEST(Declaring, RefusesAMinimumAboveTheMaximum) {
    EXPECT_EQ(R"(cannot declare "a/x": the minimum is greater than the maximum)",
              failure([] { Property<int> const property("a/x", 5, range(9, 2)); }));
}

TEST(Declaring, AcceptsConstantsOfOtherTypes) {
    Property<double> const size{"a/size", 11, range(0, 4.5)};
    EXPECT_EQ("cannot set \"a/size\": 5 is not allowed: expected 0 to 4.5", failure([&] { size.set(5); }));
    Property<float> const scale{"a/scale", 0.1, range(0.5, 4)};
    EXPECT_EQ(0.1F, scale.fallback());
    Property<std::uint64_t> const id{"a/id", 5'000'000'000, atMost(6'000'000'000)};
    id.set(5'000'000'001);
    EXPECT_EQ(5'000'000'001U, id.get());
    Property<std::chrono::milliseconds> const wait{"a/wait", 2s, range(0ms, 1h)};
    EXPECT_EQ(2000ms, wait.get());
    Property<std::string> const text{"a/text", std::string_view("view")};
    EXPECT_EQ("view", text.get());
}

TEST(Declaring, ComputesTheFallbackOfABoolean) {
    Property<bool> const isLarge{"a/large", [] { return false; }};
    EXPECT_FALSE(isLarge.get());
}

TEST(Declaring, ComputesTheFallbackWithAnyFunction) {
    Property<int> const next{"a/next", [now = 0]() mutable { return ++now; }};
    EXPECT_EQ(1, next.get());
    EXPECT_EQ(2, next.get());
    Property<int> const held{"a/held", [value = std::make_unique<int>(7)] { return *value; }};
    EXPECT_EQ(7, held.get());
}

TEST(Declaring, IsSharedByCopies) {
    Property<int> original{"a/x", 1};
    Property<int> const moved = std::move(original); // NOLINT(performance-move-const-arg): moving copies
    EXPECT_EQ("a/x", original.name());               // NOLINT(bugprone-use-after-move): likewise
    EXPECT_EQ(1, moved.get());
}

TEST(Declaring, KeepsTheNameAndTheFallback) {
    EXPECT_EQ("a/size", sizeProperty().name());
    EXPECT_EQ(11.0, sizeProperty().fallback());
}
