// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>

#include "velmorand/Stored.h"

/**
 * Durations as settings: `std::chrono` durations in nanoseconds, microseconds, milliseconds, seconds, minutes, hours or
 * days. They are stored with their unit (ns, us, ms, s, min, h or d), so that the declared type may change later:
 * "1500ms" and "1.5s" mean the same to every duration type. For a duration that counts whole numbers, a text that it
 * cannot represent exactly is invalid, such as "1.5s" for seconds. Floating-point counts get the nearest number.
 *
 * Guide: docs/types.md#durations-and-paths.
 */
namespace velmorand::detail {

/** A unit, in seconds: `numerator / denominator`. */
struct TimeUnit {
    std::int64_t numerator;
    std::int64_t denominator;
};

VELMORAND_SETTINGS_EXPORT std::string durationText(std::int64_t count, TimeUnit unit);
VELMORAND_SETTINGS_EXPORT std::string durationText(double count, TimeUnit unit);
VELMORAND_SETTINGS_EXPORT std::optional<std::int64_t> wholeDuration(std::string const& text, TimeUnit unit);
VELMORAND_SETTINGS_EXPORT std::optional<double> duration(std::string const& text, TimeUnit unit);

// For messages: the durations that are valid for a type with a whole count, and for one with a floating-point count.
VELMORAND_SETTINGS_EXPORT std::string wholeDurationExpected(TimeUnit unit);
VELMORAND_SETTINGS_EXPORT std::string durationExpected(TimeUnit unit);

template <class Rep, class Period>
struct BuiltIn<std::chrono::duration<Rep, Period>> {
    using Type = std::string;
    using Duration = std::chrono::duration<Rep, Period>;
    static constexpr bool isWhole = std::is_integral_v<Rep>;
    static_assert(isWhole ? holdsEvery<std::int64_t, Rep>() : holdsEvery<double, Rep>(),
                  "a duration counts in at most a std::int64_t or a double");
    static_assert(
        Period::num == 1
            ? Period::den == 1 || Period::den == 1'000 || Period::den == 1'000'000 ||
                  Period::den == 1'000'000'000
            : Period::den == 1 && (Period::num == 60 || Period::num == 3'600 || Period::num == 86'400),
        "a duration is in nanoseconds, microseconds, milliseconds, seconds, minutes, hours or days");

    static std::string store(Duration value) { return durationText(static_cast<Count>(value.count()), unit); }
    static std::optional<Duration> load(std::string const& text) {
        auto const count = [&text] {
            if constexpr (isWhole)
                return wholeDuration(text, unit);
            else
                return duration(text, unit);
        }();
        auto const rep = count ? fromCount(*count) : std::nullopt;
        return rep ? std::optional(Duration(*rep)) : std::nullopt;
    }
    static constexpr char const* format = "duration";
    /** All values are multiples of this duration; empty for types that also count fractions. */
    static std::string resolution() { return isWhole ? durationText(std::int64_t{1}, unit) : std::string(); }
    static std::string expected() {
        if constexpr (isWhole)
            return wholeDurationExpected(unit);
        else
            return durationExpected(unit);
    }

private:
    using Count = std::conditional_t<isWhole, std::int64_t, double>;
    static constexpr TimeUnit unit{Period::num, Period::den};

    static std::optional<Rep> fromCount(Count count) {
        if constexpr (isWhole)
            return exactly<Rep>(count);
        else
            return nearest<Rep>(count);
    }
};

/** Converts a duration to the same or a smaller unit; returns nothing if a whole number is out of range there. */
template <class Rep, class Period, class OtherRep, class OtherPeriod>
struct Conversion<std::chrono::duration<Rep, Period>, std::chrono::duration<OtherRep, OtherPeriod>,
                  std::enable_if_t<!std::is_same_v<std::chrono::duration<Rep, Period>,
                                                   std::chrono::duration<OtherRep, OtherPeriod>>>> {
    using To = std::chrono::duration<Rep, Period>;
    using From = std::chrono::duration<OtherRep, OtherPeriod>;
    using Factor = std::ratio_divide<OtherPeriod, Period>;
    static constexpr bool isAllowed = std::is_convertible_v<From, To>;
    static constexpr bool isAllowedInDeclaration = isAllowed;

    static std::optional<To> convert(From const& from) {
        if constexpr (std::is_integral_v<Rep>) {
            auto const count = exactly<std::int64_t>(from.count());
            std::int64_t product = 0;
            if (!count || __builtin_mul_overflow(*count, std::int64_t{Factor::num}, &product))
                return std::nullopt;
            auto const rep = exactly<Rep>(product);
            return rep ? std::optional(To(*rep)) : std::nullopt;
        } else {
            return To(from);
        }
    }
};

} // namespace velmorand::detail
