// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <velmorand/Listener.h>
#include <velmorand/Property.h>

#include "support/Failure.h"

namespace {

struct Percent {
    explicit Percent(int from) : value(from) {}
    int value;
};

} // namespace

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

/** Converts itself to a `T`. */
template <class T>
struct Convertible {
    operator T() const;
};

int computedWidth() {
    return 42;
}

Property<double> sizeProperty() {
    return Property<double>{"a/size", 11.0, range(6.0, 72.0)};
}

} // namespace

TEST(Get, GivesTheFallbackWhileNoScopeHasTheName) {
    EXPECT_EQ(11.0, sizeProperty().get());
    EXPECT_EQ("", sizeProperty().problem());
}

TEST(Get, GivesTheFallbackForAnotherKindOfValue) {
    write("a/size", 12);
    EXPECT_EQ(11.0, sizeProperty().get());
    EXPECT_EQ("a/size: expected a number, found an integer", sizeProperty().problem());
    write("a/size", std::vector<std::string>{"x"});
    EXPECT_EQ("a/size: expected a number, found a list of strings", sizeProperty().problem());
}

TEST(Get, GivesTheFallbackForAGroup) {
    write("a/size/x", 1);
    EXPECT_EQ(11.0, sizeProperty().get());
    EXPECT_EQ("a/size: expected a number, found a group", sizeProperty().problem());
    Property<std::string> const text{"a/size", "none"};
    EXPECT_EQ("none", text.get());
    EXPECT_EQ("a/size: expected a string, found a group", text.problem());
}

TEST(Get, GivesTheFallbackForAValueOutOfRange) {
    write("a/size", 72.0);
    EXPECT_EQ(72.0, sizeProperty().get());
    write("a/size", 72.5);
    EXPECT_EQ(11.0, sizeProperty().get());
    EXPECT_EQ("a/size: 72.5 is not allowed: expected 6 to 72", sizeProperty().problem());
    write("a/size", std::nan(""));
    EXPECT_EQ("a/size: \"nan\" is not allowed: expected 6 to 72", sizeProperty().problem());
}

TEST(Get, GivesTheFallbackForAnUnknownName) {
    Property<Theme> const theme{"a/theme", Theme::dark};
    write("a/theme", "purple");
    EXPECT_EQ(Theme::dark, theme.get());
    EXPECT_EQ(R"(a/theme: "purple" is not allowed: expected one of "light", "dark")", theme.problem());
}

TEST(Get, GivesTheFallbackForAValueThatIsNotAChoice) {
    Property<std::string> const unit{"a/unit", "cm", choices({"cm", "in"})};
    write("a/unit", "mm");
    EXPECT_EQ("cm", unit.get());
    EXPECT_EQ(R"(a/unit: "mm" is not allowed: expected one of "cm", "in")", unit.problem());
}

TEST(Get, GivesTheFallbackForAValueThatTheProgramsCheckRefuses) {
    Property<int> const even{"a/even", 2, check([](int value) { return value % 2 == 0; }, "an even number")};
    write("a/even", 3);
    EXPECT_EQ(2, even.get());
    EXPECT_EQ("a/even: 3 is not allowed: expected an even number", even.problem());
}

TEST(Get, GivesTheFallbackForAnInvalidElementOfAList) {
    Property<std::vector<int>> const widths{"a/widths", {5}, atLeast(1)};
    write("a/widths", std::vector<int>{3, 0});
    EXPECT_THAT(widths.get(), ElementsAre(5));
    EXPECT_EQ("a/widths: 0 is not allowed: expected at least 1", widths.problem());
}

TEST(Get, TakesTheFirstScopeThatHasTheName) {
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

TEST(Get, ComputesAFallbackByAFunction) {
    Property<int> const width{"a/width", computedWidth};
    EXPECT_EQ(42, width.get());
}

TEST(Get, GivesTheSameDurationAgain) {
    Property<std::chrono::seconds> const delay{"a/delay", std::chrono::seconds(1)};
    delay.set(std::chrono::minutes(1));
    EXPECT_EQ(std::chrono::seconds(60), delay.get());
    EXPECT_EQ(std::chrono::seconds(60), delay.get());
}

TEST(Get, GivesATypeWithoutADefault) {
    Property<Percent> const share{"a/share", Percent(50)};
    share.set(Percent(70));
    EXPECT_EQ(70, share.get().value);
    EXPECT_EQ(70, share.get().value);
}

TEST(Set, RefusesWhatTheDeclarationDoesNotAllow) {
    Property<double> const size = sizeProperty();
    EXPECT_EQ("a/size is not set: 80 is not allowed: expected 6 to 72", failure([&] { size.set(80.0); }));
    EXPECT_FALSE(size.isSet());
    Property<int> const least{"a/least", 5, atLeast(1)};
    EXPECT_EQ("a/least is not set: 0 is not allowed: expected at least 1", failure([&] { least.set(0); }));
    Property<int> const most{"a/most", 5, atMost(9)};
    EXPECT_EQ("a/most is not set: 10 is not allowed: expected at most 9", failure([&] { most.set(10); }));
    Property<std::vector<std::string>> const units{"a/units", {}, choices({"cm", "in"})};
    EXPECT_EQ(R"(a/units is not set: "mm" is not allowed: expected one of "cm", "in")", failure([&] {
                  units.set({"cm", "mm"});
              }));
    Property<std::string> const checked{"a/checked", "",
                                        check([](std::string const& text) { return text.empty(); })};
    EXPECT_EQ(R"(a/checked is not set: "x" is not allowed)", failure([&] { checked.set("x"); }));
}

TEST(Set, RefusesAnIntegerThatTheTypeDoesNotHave) {
    Property<unsigned char> const byte{"a/byte"};
    byte.set(255);
    EXPECT_EQ(255, byte.get());
    EXPECT_EQ("a/byte is not set: 256 is not allowed: expected 0 to 255", failure([&] { byte.set(256); }));
    Property<unsigned> const count{"a/count"};
    EXPECT_EQ("a/count is not set: -1 is not allowed: expected 0 to 4294967295",
              failure([&] { count.set(-1); }));
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

TEST(Set, TakesAnyText) {
    Property<std::string> const text{"a/text"};
    text.set("literal");
    EXPECT_EQ("literal", text.get());
    text.set(std::string_view("view"));
    EXPECT_EQ("view", text.get());
}

TEST(Set, TakesANumberWithoutASuffix) {
    Property<double> const size{"a/size", 11};
    size.set(12);
    EXPECT_EQ(12.0, size.get());
    Property<std::uint64_t> const id{"a/id", 1};
    id.set(2);
    EXPECT_EQ(2U, id.get());
    Property<float> const scale{"a/scale", 1.5};
    scale.set(2);
    EXPECT_EQ(2.0F, scale.get());
}

TEST(Set, DoesNotCompileForAValueThatIsConverted) {
    static_assert(canSet<int, int> && canSet<bool, bool> && canSet<double, int> && canSet<double, float>);
    static_assert(canSet<int, short> && canSet<std::int64_t, int> && canSet<std::int64_t, unsigned>);
    static_assert(canSet<std::string, char const*> && canSet<std::string, std::string_view>);
    static_assert(!canSet<bool, char const*> && !canSet<bool, char const(&)[6]> && !canSet<bool, int>);
    static_assert(!canSet<bool, std::nullptr_t> && !canSet<int, bool> && !canSet<double, bool>);
    static_assert(!canSet<int, double> && !canSet<int, float> && !canSet<int, long long> &&
                  !canSet<int, unsigned>);
    static_assert(!canSet<int, char> && !canSet<float, double> && !canSet<double, std::int64_t>);
    static_assert(!canSet<std::string, int> && !canSet<std::string, char> && !canSet<Theme, int>);
    static_assert(!canSet<Theme, char const*> && !canSet<std::vector<int>, int>);
    static_assert(canSet<bool, std::vector<bool>::reference> && canSet<double, Convertible<float>>);
    static_assert(!canSet<int, Convertible<double>> && !canSet<bool, Convertible<void*>>);
    static_assert(!canSet<bool, Convertible<bool (*)()>>);
    static_assert(!canSet<int, Theme> && !canSet<std::chrono::seconds, int>);
    static_assert(canSet<std::chrono::milliseconds, std::chrono::seconds>);
    static_assert(!canSet<std::chrono::seconds, std::chrono::milliseconds>);
}

TEST(Declaring, DoesNotCompileWithAFallbackThatIsConverted) {
    static_assert(canDeclare<int, int> && canDeclare<std::string, char const*> && canDeclare<double, int>);
    static_assert(!canDeclare<bool, char const*> && !canDeclare<int, double> && !canDeclare<int, bool>);
    static_assert(!canDeclare<std::string, int> && !canDeclare<Theme, int>);
}

TEST(Declaring, RefusesALimitThatTheTypeDoesNotHave) {
    EXPECT_EQ("a/x is declared with a limit or choice that its type does not have",
              failure([] { Property<unsigned> const property("a/x", 0, atLeast(-1)); }));
}

TEST(Declaring, NamesAreKept) {
    EXPECT_EQ("a/size", sizeProperty().name());
    EXPECT_EQ(11.0, sizeProperty().fallback());
}
