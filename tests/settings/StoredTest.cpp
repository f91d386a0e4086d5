// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <velmorand/Property.h>

#include "support/Failure.h"

namespace {

enum class Theme { light, dark, system };
VELMORAND_ENUM(Theme, {Theme::light, "light"}, {Theme::dark, "dark"}, {Theme::dark, "black"})

} // namespace

namespace editor {

struct Window {
    enum class Mode : unsigned char { normal, maximized };
};
VELMORAND_ENUM(Window::Mode, {Window::Mode::normal, "normal"}, {Window::Mode::maximized, "maximized"})

struct Colour {
    int red, green, blue;
};

} // namespace editor

template <>
struct velmorand::Stored<editor::Colour> {
    using Type = std::vector<int>;
    static Type store(editor::Colour const& colour) { return {colour.red, colour.green, colour.blue}; }
    static std::optional<editor::Colour> load(Type const& values) {
        return values.size() == 3 ? std::optional(editor::Colour{values[0], values[1], values[2]})
                                  : std::nullopt;
    }
};

namespace {

using Names = std::map<std::string, std::string>;

} // namespace

template <>
struct velmorand::Stored<Names> {
    using Type = std::vector<std::string>;
    static Type store(Names const& names) {
        Type texts;
        for (auto const& [name, value] : names) {
            texts.push_back(name);
            texts.push_back(value);
        }
        return texts;
    }
    static std::optional<Names> load(Type const& texts) {
        Names names;
        for (std::size_t i = 0; i + 1 < texts.size(); i += 2)
            names[texts[i]] = texts[i + 1];
        return names;
    }
};

namespace {

using namespace velmorand;
using namespace std::chrono_literals;
using support::failure;
using testing::ElementsAre;

/** Writes a value and reads it back. */
template <class T>
T kept(T const& value) {
    write("a/x", value);
    return read<T>("a/x");
}

/** The error of reading a `T` after `stored` was written. */
template <class T, class Kind>
std::string reading(Kind const& stored) {
    write("a/x", stored);
    return failure([] { static_cast<void>(read<T>("a/x")); });
}

template <class T>
class EveryWholeNumber : public testing::Test {};
using WholeNumbers = testing::Types<signed char, unsigned char, short, unsigned short, int, unsigned, long,
                                    unsigned long, long long, unsigned long long>;
TYPED_TEST_SUITE(EveryWholeNumber, WholeNumbers, );

} // namespace

TYPED_TEST(EveryWholeNumber, KeepsItsLimits) {
    using Limits = std::numeric_limits<TypeParam>;
    EXPECT_EQ(Limits::min(), kept(Limits::min()));
    EXPECT_EQ(Limits::max(), kept(Limits::max()));
    EXPECT_EQ(TypeParam(0), kept(TypeParam(0)));
}

TEST(Stored, SmallWholeNumbersAreIntegers) {
    write("a/x", static_cast<short>(-7));
    EXPECT_EQ(-7, read<int>("a/x"));
}

TEST(Stored, UnsignedNumbersAreNumbers) {
    write("a/x", 4'000'000'000U);
    EXPECT_EQ(4e9, read<double>("a/x"));
}

TEST(Stored, LongNumbersAreDecimalDigits) {
    write("a/x", std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ("-9223372036854775808", read<std::string>("a/x"));
    write("a/x", std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ("18446744073709551615", read<std::string>("a/x"));
}

TEST(Stored, WholeNumbersOutOfRangeAreNotValid) {
    EXPECT_EQ("PropertyBadType", reading<signed char>(128));
    EXPECT_EQ("PropertyBadType", reading<unsigned char>(-1));
    EXPECT_EQ("PropertyBadType", reading<unsigned short>(65'536));
    EXPECT_EQ("PropertyBadType", reading<unsigned>(4'294'967'296.0));
    EXPECT_EQ("PropertyBadType", reading<unsigned>(-1.0));
    EXPECT_EQ("PropertyBadType", reading<unsigned>(0.5));
    EXPECT_EQ("PropertyBadType", reading<unsigned>(std::nan("")));
    EXPECT_EQ("PropertyBadType", reading<long long>("9223372036854775808"));
    EXPECT_EQ("PropertyBadType", reading<unsigned long long>("18446744073709551616"));
    EXPECT_EQ("PropertyBadType", reading<unsigned long long>("-1"));
}

TEST(Stored, TextThatIsNotAWholeNumberIsNotValid) {
    for (char const* const text : {"", " 1", "1 ", "+1", "1.0", "0x10", "one", "-"})
        EXPECT_EQ("PropertyBadType", reading<long long>(text)) << text;
}

TEST(Stored, FloatsKeepTheirValue) {
    for (float const value :
         {0.1F, -0.0F, std::numeric_limits<float>::max(), std::numeric_limits<float>::denorm_min(),
          std::numeric_limits<float>::infinity()})
        EXPECT_EQ(value, kept(value));
    EXPECT_TRUE(std::isnan(kept(std::nanf(""))));
}

TEST(Stored, FloatsAreRoundedToTheNearest) {
    write("a/x", 0.1);
    EXPECT_EQ(0.1F, read<float>("a/x"));
    EXPECT_EQ("PropertyBadType", reading<float>(1e39));
    EXPECT_EQ("PropertyBadType", reading<float>(-1e39));
}

TEST(Stored, EnumsAreStoredAsNames) {
    EXPECT_EQ(Theme::dark, kept(Theme::dark));
    EXPECT_EQ("dark", read<std::string>("a/x"));
    EXPECT_EQ("PropertyBadType", reading<Theme>("Dark"));
    EXPECT_EQ("PropertyBadType", reading<Theme>(1));
}

TEST(Stored, EnumsMayHaveSeveralNames) {
    write("a/x", "black");
    EXPECT_EQ(Theme::dark, read<Theme>("a/x"));
}

TEST(Stored, EnumsMayBeNestedInAClass) {
    EXPECT_EQ(editor::Window::Mode::maximized, kept(editor::Window::Mode::maximized));
}

TEST(Stored, EnumsWithoutANameAreRefused) {
    EXPECT_EQ("enum value 2 has no name", failure([] { write("a/x", Theme::system); }));
    EXPECT_EQ("PropertyNotFound", failure([] { static_cast<void>(read<Theme>("a/x")); }));
}

TEST(Stored, TextIsWrittenFromAView) {
    write("a/x", std::string_view("dark theme", 4));
    EXPECT_EQ("dark", read<std::string>("a/x"));
}

TEST(Stored, PathsAreStoredAsTheirBytes) {
    std::filesystem::path const path = "/tmp/\xff name";
    EXPECT_EQ(path, kept(path));
    EXPECT_EQ(path.native(), read<std::string>("a/x"));
}

TEST(Stored, DurationsHaveTheirUnit) {
    write("a/x", 1500ms);
    EXPECT_EQ("1500ms", read<std::string>("a/x"));
    EXPECT_EQ(1500ms, read<std::chrono::milliseconds>("a/x"));
    EXPECT_EQ(-3h, kept(-3h));
    EXPECT_EQ(std::chrono::nanoseconds::max(), kept(std::chrono::nanoseconds::max()));
    EXPECT_EQ(std::chrono::duration<double>(0.1), kept(std::chrono::duration<double>(0.1)));
    using Days = std::chrono::duration<int, std::ratio<86'400>>;
    EXPECT_EQ(Days(7), kept(Days(7)));
}

TEST(Stored, DurationsAreReadInOtherUnits) {
    write("a/x", "1.5h");
    EXPECT_EQ(90min, read<std::chrono::minutes>("a/x"));
    EXPECT_EQ(5'400'000ms, read<std::chrono::milliseconds>("a/x"));
    EXPECT_EQ(std::chrono::duration<double>(5400), read<std::chrono::duration<double>>("a/x"));
    write("a/x", "-0.25s");
    EXPECT_EQ(-250ms, read<std::chrono::milliseconds>("a/x"));
    write("a/x", "1.25h");
    EXPECT_EQ(75min, read<std::chrono::minutes>("a/x"));
}

TEST(Stored, DurationsAreExact) {
    write("a/x", "12345.123456s");
    EXPECT_EQ(12'345'123'456'000ns, read<std::chrono::nanoseconds>("a/x"));
    write("a/x", "106751.5d");
    EXPECT_EQ(106'751 * 24h + 12h, read<std::chrono::nanoseconds>("a/x"));
    write("a/x", "1.5" + std::string(30, '0') + "s");
    EXPECT_EQ(1500ms, read<std::chrono::milliseconds>("a/x"));
    write("a/x", "-9223372036854775808ns");
    EXPECT_EQ(std::chrono::nanoseconds::min(), read<std::chrono::nanoseconds>("a/x"));
}

TEST(Stored, DurationsAreRoundedOnceToTheNearestNumber) {
    using Seconds = std::chrono::duration<double>;
    using Minutes = std::chrono::duration<double, std::ratio<60>>;
    using Nano = std::chrono::duration<double, std::nano>;
    write("a/x", "1.1h");
    EXPECT_EQ(Seconds(3960), read<Seconds>("a/x"));
    write("a/x", "-0.043d");
    EXPECT_EQ(Nano(-3'715'200'000'000), read<Nano>("a/x"));
    write("a/x", "0.015ms");
    EXPECT_EQ(Seconds(0.000015), read<Seconds>("a/x"));
    write("a/x", "19.275ns");
    EXPECT_EQ(Minutes(3.2125e-10), read<Minutes>("a/x"));
    write("a/x", "5.195ns");
    EXPECT_EQ(Minutes(8.6583333333333332e-11), read<Minutes>("a/x"));
    write("a/x", std::string(500, '0') + "2.50min");
    EXPECT_EQ(Seconds(150), read<Seconds>("a/x"));
}

TEST(Stored, DurationsThatAreTooLongForTheTypeAreNotValid) {
    EXPECT_EQ("PropertyBadType", reading<std::chrono::duration<float>>(std::string(60, '9') + "s"));
    using Nano = std::chrono::duration<double, std::nano>;
    EXPECT_EQ("PropertyBadType", reading<Nano>(std::string(300, '9') + "d"));
}

TEST(Stored, DurationsThatAreNotWholeOrOutOfRangeAreNotValid) {
    EXPECT_EQ("PropertyBadType", reading<std::chrono::seconds>("1500ms"));
    EXPECT_EQ("PropertyBadType", reading<std::chrono::minutes>("1.255h"));
    EXPECT_EQ("PropertyBadType", reading<std::chrono::minutes>("0." + std::string(70, '0') + "1h"));
    EXPECT_EQ("PropertyBadType", reading<std::chrono::nanoseconds>("106752d"));
    using Small = std::chrono::duration<short>;
    EXPECT_EQ("PropertyBadType", reading<Small>("32768s"));
}

TEST(Stored, TextThatIsNotADurationIsNotValid) {
    for (char const* const text :
         {"", "5", "s", "5 s", "5sec", "5.s", ".5s", "1.2.3s", "--5s", "infs", "1e3s"}) {
        EXPECT_EQ("PropertyBadType", reading<std::chrono::milliseconds>(text)) << text;
        EXPECT_EQ("PropertyBadType", reading<std::chrono::duration<double>>(text)) << text;
    }
}

TEST(Stored, DurationsThatAreNotFiniteAreRefused) {
    EXPECT_EQ("a duration must be finite", failure([] {
                  write("a/x", std::chrono::duration<double>(std::numeric_limits<double>::infinity()));
              }));
}

TEST(Stored, ListsHaveElementsOfAnyType) {
    EXPECT_THAT(kept(std::vector<Theme>{Theme::dark, Theme::light}), ElementsAre(Theme::dark, Theme::light));
    EXPECT_THAT(read<std::vector<std::string>>("a/x"), ElementsAre("dark", "light"));
    EXPECT_THAT(kept(std::vector<std::int64_t>{-1, 1'000'000'000'000}), ElementsAre(-1, 1'000'000'000'000));
    EXPECT_THAT(kept(std::vector<float>{0.5F}), ElementsAre(0.5F));
    EXPECT_THAT(kept(std::vector<std::chrono::seconds>{1s, 1min}), ElementsAre(1s, 1min));
    EXPECT_THAT(kept(std::vector<std::filesystem::path>{"a", "b"}), ElementsAre("a", "b"));
    EXPECT_THAT(kept(std::vector<unsigned char>{0, 255}), ElementsAre(0, 255));
}

TEST(Stored, ListsWithOneInvalidElementAreNotValid) {
    EXPECT_EQ("PropertyBadType", reading<std::vector<Theme>>(std::vector<std::string>{"dark", "purple"}));
}

TEST(Stored, TypesOfTheProgramUseItsConversion) {
    write("a/x", editor::Colour{1, 2, 3});
    EXPECT_THAT(read<std::vector<int>>("a/x"), ElementsAre(1, 2, 3));
    EXPECT_EQ(3, read<editor::Colour>("a/x").blue);
    EXPECT_EQ("PropertyBadType", reading<editor::Colour>(std::vector<int>{1, 2}));
}

TEST(Stored, ContainersOfTheProgramUseItsConversion) {
    Property<Names> const names{"a/names", {{"a", "b"}}};
    names.set({{"x", "y"}});
    EXPECT_THAT(read<std::vector<std::string>>("a/names"), ElementsAre("x", "y"));
    EXPECT_EQ("y", names.get().at("x"));
}

TEST(Stored, ReadWithAFallbackConvertsToo) {
    EXPECT_EQ(Theme::light, read("a/x", Theme::light));
    write("a/x", Theme::dark);
    EXPECT_EQ(Theme::dark, read("a/x", Theme::light));
}
