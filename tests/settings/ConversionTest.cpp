// SPDX-License-Identifier: Apache-2.0
//
// The conversion of numbers between types. Compiled with optimisation, because on i386 floating-point numbers may then
// have more precision than their type.

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include <velmorand/Property.h>

#include "support/Failure.h"

namespace {

using namespace velmorand;

/** Hides a value from the optimiser. */
template <class T>
T unknown(T value) {
    T const volatile hidden = value;
    return hidden;
}

/** Whether a setting of type `To` can be set to `number`; if so, it must keep the number exactly. */
template <class To, class From>
bool takes(From number) {
    Property<To> const setting{"a/x"};
    From const hidden = unknown(number);
    if (support::failure([&] { setting.set(hidden); }) != "nothing")
        return false;
    EXPECT_EQ(static_cast<long double>(number), static_cast<long double>(setting.get()));
    return true;
}

/** Whether a stored number is a value of a setting of type `To`; if so, it must be `number` exactly. */
template <class To>
bool loads(double number) {
    write("a/x", number);
    Property<To> const setting{"a/x"};
    if (!setting.problem().empty())
        return false;
    EXPECT_EQ(static_cast<long double>(number), static_cast<long double>(setting.get()));
    return true;
}

constexpr std::int64_t twoTo53 = std::int64_t{1} << 53U;
constexpr int twoTo24 = 1 << 24U;

} // namespace

TEST(WholeNumberToDouble, IsExact) {
    for (std::int64_t const number : {std::int64_t{0}, twoTo53, -twoTo53, twoTo53 + 2, twoTo53 - 1,
                                      1 - twoTo53, std::numeric_limits<std::int64_t>::min()})
        EXPECT_TRUE(takes<double>(number)) << number;
    EXPECT_TRUE(takes<double>(std::uint64_t{1} << 63U));
    EXPECT_TRUE(takes<double>(~std::uint64_t{0} << 11U));
}

TEST(WholeNumberToDouble, IsRefusedIfItWouldBeRounded) {
    for (std::int64_t const number : {twoTo53 + 1, -twoTo53 - 1, 2 * twoTo53 + 2,
                                      1 - (std::int64_t{1} << 62U), std::numeric_limits<std::int64_t>::max()})
        EXPECT_FALSE(takes<double>(number)) << number;
    EXPECT_FALSE(takes<double>(std::numeric_limits<std::uint64_t>::max()));
    EXPECT_FALSE(takes<double>(~std::uint64_t{0} << 10U));
}

TEST(WholeNumberToFloat, IsExact) {
    for (int const number :
         {0, -1, twoTo24, -twoTo24, twoTo24 + 2, twoTo24 - 1, std::numeric_limits<int>::min()})
        EXPECT_TRUE(takes<float>(number)) << number;
    EXPECT_TRUE(takes<float>(~0U << 8U));
}

TEST(WholeNumberToFloat, IsRefusedIfItWouldBeRounded) {
    for (int const number : {twoTo24 + 1, -twoTo24 - 1, 2 * twoTo24 + 2, std::numeric_limits<int>::max()})
        EXPECT_FALSE(takes<float>(number)) << number;
    EXPECT_FALSE(takes<float>(~0U));
    EXPECT_FALSE(takes<float>(~0U << 7U));
}

TEST(NumberToUnsigned, IsExact) {
    for (double const number : {0.0, -0.0, 1.0, 4'294'967'295.0})
        EXPECT_TRUE(loads<unsigned>(number)) << number;
}

TEST(NumberToUnsigned, IsRefusedIfItIsNotWholeOrOutOfRange) {
    for (double const number : {0.5, -0.5, -1.0, 4'294'967'294.9999995, 4'294'967'296.0, 5e-324, 1e300,
                                std::numeric_limits<double>::infinity(), std::nan("")})
        EXPECT_FALSE(loads<unsigned>(number)) << number;
}

TEST(NumberToFloat, IsRoundedToTheNearest) {
    write("a/x", 0.7);
    Property<float> const setting{"a/x"};
    EXPECT_EQ(11'744'051.0L / twoTo24, static_cast<long double>(setting.get()));
    Property<float> const limited{"a/y", 1.0F, atLeast(unknown(0.7))};
    limited.set(0.7F); // less than the double 0.7, but the nearest float
    EXPECT_EQ(0.7F, limited.get());
}

TEST(NumberToFloat, IsRefusedIfItIsOutOfRange) {
    constexpr double most = static_cast<double>(std::numeric_limits<float>::max());
    EXPECT_TRUE(loads<float>(most));
    EXPECT_TRUE(loads<float>(-std::numeric_limits<double>::infinity()));
    for (double const number : {std::nextafter(most, 1e300), -1e300})
        EXPECT_FALSE(loads<float>(number)) << number;
}
