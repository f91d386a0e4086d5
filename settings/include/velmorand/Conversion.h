// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

// Decides which values of other types a setting accepts: those that convert without loss. Programs do not use this
// header directly.
namespace velmorand::detail {

template <class T>
inline constexpr bool isCharacter = std::is_same_v<T, char> || std::is_same_v<T, wchar_t> ||
                                    std::is_same_v<T, char16_t> || std::is_same_v<T, char32_t>;
#ifdef __cpp_char8_t
template <>
inline constexpr bool isCharacter<char8_t> = true;
#endif

template <class T>
inline constexpr bool isNumeric =
    std::is_arithmetic_v<T> && !std::is_same_v<T, bool> && !isCharacter<T> && !std::is_same_v<T, long double>;

/** Whether every value of the numeric type `From` is a value of the numeric type `To`. */
template <class To, class From>
constexpr bool holdsEvery() {
    constexpr bool fits = std::numeric_limits<From>::digits <= std::numeric_limits<To>::digits;
    if constexpr (std::is_floating_point_v<To>)
        return fits;
    else
        return fits && std::is_integral_v<From> && (std::is_signed_v<To> || std::is_unsigned_v<From>);
}

/** Whether a floating-point value, truncated to a whole number, is in the range of an integral type. */
template <class Whole, class Floating>
constexpr bool isInRange(Floating value) {
    // The largest value may not be representable as a `Floating`; the power of two above it is.
    constexpr Whole half = std::numeric_limits<Whole>::max() / 2 + 1;
    constexpr auto above = static_cast<Floating>(half) * 2;
    return value >= static_cast<Floating>(std::numeric_limits<Whole>::lowest()) && value < above;
}

/**
 * Whether a floating-point type can represent a whole number: the digits without trailing zeros must fit. Calculates
 * with integers, because on i386 converting to the type and back may keep digits that the type does not have.
 */
template <class Floating, class Whole>
constexpr bool isExactIn(Whole value) {
    auto digits = static_cast<std::uint64_t>(value);
    if (value < Whole())
        digits = 0 - digits;
    while (digits != 0 && digits % 2 == 0)
        digits /= 2;
    return (digits >> std::numeric_limits<Floating>::digits) == 0;
}

/** Converts a number to another type; returns nothing if that type cannot represent it exactly. */
template <class To, class From>
std::optional<To> exactly(From from) {
    if constexpr (holdsEvery<To, From>()) {
        return static_cast<To>(from);
    } else if constexpr (std::is_floating_point_v<From>) {
        if (!isInRange<To>(from))
            return std::nullopt;
        auto const to = static_cast<To>(from); // the whole part, which is a `From`, too
        return static_cast<From>(to) == from ? std::optional(to) : std::nullopt;
    } else if constexpr (std::is_floating_point_v<To>) {
        return isExactIn<To>(from) ? std::optional(static_cast<To>(from)) : std::nullopt;
    } else {
        auto const to = static_cast<To>(from);
        bool const keepsSign = (from < From()) == (to < To());
        return static_cast<From>(to) == from && keepsSign ? std::optional(to) : std::nullopt;
    }
}

/** The nearest value of a floating-point type; nothing for a finite number outside its range. */
template <class To>
std::optional<To> nearest(double from) {
    constexpr auto most = static_cast<double>(std::numeric_limits<To>::max());
    constexpr double infinity = std::numeric_limits<double>::infinity();
    bool const isTooGreat = (from > most && from != infinity) || (from < -most && from != -infinity);
    return isTooGreat ? std::nullopt : std::optional(static_cast<To>(from));
}

/**
 * Converts a value of type `From` for a setting of type `To`.
 *
 * `isAllowed` applies to `Property::set`, `isAllowedInDeclaration` to fallbacks, limits and choices, which are usually
 * constants. `convert` returns nothing for a value that `To` cannot represent.
 */
template <class To, class From, class Enable = void>
struct Conversion {
    static constexpr bool isAllowed =
        !std::is_arithmetic_v<To> && !std::is_null_pointer_v<From> && std::is_convertible_v<From const&, To>;
    static constexpr bool isAllowedInDeclaration = isAllowed;
    static std::optional<To> convert(From const& from) { return std::optional<To>(std::in_place, from); }
};

template <class T>
struct Conversion<T, T> {
    static constexpr bool isAllowed = true;
    static constexpr bool isAllowedInDeclaration = true;
    static std::optional<T> convert(T const& value) { return value; }
};

/**
 * Every numeric type accepts an `int`, so that literals need no suffix, and whole numbers of at most its own size;
 * `convert` checks the range. A floating-point type also accepts other floating-point types: those whose values it can
 * all represent, and in a declaration any.
 */
template <class To, class From>
struct Conversion<To, From, std::enable_if_t<isNumeric<To> && isNumeric<From> && !std::is_same_v<To, From>>> {
    static constexpr bool isAllowed = std::is_integral_v<From>
                                          ? std::is_same_v<From, int> || sizeof(From) <= sizeof(To)
                                          : std::is_floating_point_v<To> && holdsEvery<To, From>();
    static constexpr bool isAllowedInDeclaration =
        isAllowed || (std::is_floating_point_v<To> && std::is_floating_point_v<From>);
    static std::optional<To> convert(From from) {
        if constexpr (std::is_floating_point_v<To> && std::is_floating_point_v<From> &&
                      !holdsEvery<To, From>())
            return nearest<To>(from);
        else
            return exactly<To>(from);
    }
};

template <>
struct Conversion<bool, std::vector<bool>::reference> {
    static constexpr bool isAllowed = true;
    static constexpr bool isAllowedInDeclaration = true;
    static std::optional<bool> convert(std::vector<bool>::reference const& value) { return value; }
};

template <>
struct Conversion<std::string, std::string_view> {
    static constexpr bool isAllowed = true;
    static constexpr bool isAllowedInDeclaration = true;
    static std::optional<std::string> convert(std::string_view text) { return std::string(text); }
};

/** The conversion of an argument `From const&`. */
template <class To, class From>
using ConversionOf = Conversion<To, std::decay_t<From const&>>;

template <class To, class From>
inline constexpr bool isAllowed = ConversionOf<To, From>::isAllowed;

template <class To, class From>
inline constexpr bool isAllowedInDeclaration = ConversionOf<To, From>::isAllowedInDeclaration;

/** The type as which a value is written: `std::string` for any kind of text, otherwise the value's own type. */
template <class T>
using Written =
    std::conditional_t<std::is_same_v<std::decay_t<T>, char const*> ||
                           std::is_same_v<std::decay_t<T>, char*> || std::is_same_v<T, std::string_view>,
                       std::string, T>;

} // namespace velmorand::detail
