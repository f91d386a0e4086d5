// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "velmorand/Export.h"

/**
 * The types that a setting can have.
 *
 * The register keeps eight kinds of value: `std::string`, `double`, `int`, `bool`, and a `std::vector` of each.
 * `Stored<T>` says which of them a type is stored as and converts both ways. Built in:
 *
 * | type                                             | stored as                                                |
 * |--------------------------------------------------|----------------------------------------------------------|
 * | the eight kinds                                  | themselves                                               |
 * | `signed char`, `short`, both `unsigned` as well  | an integer                                               |
 * | `unsigned`, `float`                              | a number                                                 |
 * | `long`, `long long`, both `unsigned` as well     | a string of decimal digits                               |
 * | an enum declared with `VELMORAND_ENUM` (Enum.h)  | a string, the name of the value                          |
 * | `std::chrono` durations (Duration.h)             | a string, a number and a unit: "1500ms"                  |
 * | `std::filesystem::path`                          | a string, the path's bytes                               |
 * | a `std::vector` of one of these                  | a list                                                   |
 *
 * Types of Qt are in QtTypes.h. The table does not depend on the machine, so that a register file means the same
 * everywhere: `long` is a string even where it has 32 bits.
 */
namespace velmorand {

namespace detail {

template <class T, class Enable = void>
struct BuiltIn;

} // namespace detail

/**
 * How a type is stored. Specialise it to give settings a type of your own:
 *
 *     template <>
 *     struct velmorand::Stored<Colour> {
 *         using Type = std::string;                                    // one of the eight kinds
 *         static std::string store(Colour const& colour);              // may throw, if there is no such value
 *         static std::optional<Colour> load(std::string const& text);  // nothing, if `text` is not a colour
 *         static std::string expected() { return "a colour such as #ff8000"; } // optional: for messages
 *     };
 *
 * `load` must depend on its argument alone: its result is kept for as long as the register does not change.
 */
template <class T>
struct Stored : detail::BuiltIn<T> {};

namespace detail {

template <class T>
inline constexpr bool isElementKind = std::is_same_v<T, std::string> || std::is_same_v<T, double> ||
                                      std::is_same_v<T, int> || std::is_same_v<T, bool>;

template <class T>
inline constexpr bool isListKind = false;
template <class T>
inline constexpr bool isListKind<std::vector<T>> = isElementKind<T>;

/** Whether `T` is one of the eight kinds. */
template <class T>
inline constexpr bool isKind = isElementKind<T> || isListKind<T>;

/** What a setting of type `T` is kept as in the register. */
template <class T>
using StoredType = typename Stored<T>::Type;

template <class T>
inline constexpr bool isCharacter = std::is_same_v<T, char> || std::is_same_v<T, wchar_t> ||
                                    std::is_same_v<T, char16_t> || std::is_same_v<T, char32_t>;

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

/** A number as another type, if it has that value there. NaN is the same in all floating types. */
template <class To, class From>
std::optional<To> exactly(From from) {
    if constexpr (holdsEvery<To, From>()) {
        return static_cast<To>(from);
    } else if constexpr (std::is_floating_point_v<From>) {
        // The limit itself may not be a value of `From`, but the power of two above it is.
        constexpr auto above = static_cast<From>(std::numeric_limits<To>::max() / 2 + 1) * 2;
        if (!(from >= static_cast<From>(std::numeric_limits<To>::lowest()) && from < above))
            return std::nullopt;
        auto const to = static_cast<To>(from);
        return static_cast<From>(to) == from ? std::optional(to) : std::nullopt;
    } else {
        auto const to = static_cast<To>(from);
        bool const keepsSign = (from < From()) == (to < To());
        return static_cast<From>(to) == from && keepsSign ? std::optional(to) : std::nullopt;
    }
}

/** A whole number in a string of decimal digits, with "-" before it if it is negative. */
VELMORAND_SETTINGS_EXPORT std::optional<std::int64_t> signedWhole(std::string const& text);
VELMORAND_SETTINGS_EXPORT std::optional<std::uint64_t> unsignedWhole(std::string const& text);

template <class T>
inline constexpr bool isLong = std::is_same_v<T, long> || std::is_same_v<T, unsigned long> ||
                               std::is_same_v<T, long long> || std::is_same_v<T, unsigned long long>;

template <class T>
inline constexpr bool alwaysFalse = false;

template <class T, class Enable>
struct BuiltIn {
    static_assert(!std::is_enum_v<T>, "name the values of the enum with VELMORAND_ENUM (velmorand/Enum.h)");
    static_assert(
        std::is_enum_v<T> || alwaysFalse<T>,
        "this type is not built in: specialise velmorand::Stored for it (velmorand/Stored.h), or include "
        "velmorand/QtTypes.h if it is one of Qt");
    using Type = std::string;
};

template <class T>
struct BuiltIn<T, std::enable_if_t<isKind<T>>> {
    using Type = T;
    static T const& store(T const& value) { return value; }
    static std::optional<T> load(T value) { return value; }
};

template <class T>
struct BuiltIn<T, std::enable_if_t<isNumeric<T> && !isKind<T> && !isLong<T>>> {
    using Type = std::conditional_t<holdsEvery<int, T>(), int, double>;
    static Type store(T value) { return value; }
    static std::optional<T> load(Type value) {
        if constexpr (std::is_floating_point_v<T>)
            return toFloat(value);
        else
            return exactly<T>(value);
    }
    static constexpr char const* format = std::is_integral_v<T> ? "whole" : "";

private:
    /** The nearest value; infinity only for infinity. */
    static std::optional<T> toFloat(double value) {
        constexpr double most = std::numeric_limits<T>::max();
        bool const isFinite = value - value == 0;
        return isFinite && (value > most || value < -most) ? std::nullopt
                                                           : std::optional(static_cast<T>(value));
    }
};

template <class T>
struct BuiltIn<T, std::enable_if_t<isLong<T>>> {
    using Type = std::string;
    static std::string store(T value) { return std::to_string(value); }
    static std::optional<T> load(std::string const& text) {
        if constexpr (std::is_signed_v<T>) {
            auto const whole = signedWhole(text);
            return whole ? exactly<T>(*whole) : std::nullopt;
        } else {
            auto const whole = unsignedWhole(text);
            return whole ? exactly<T>(*whole) : std::nullopt;
        }
    }
    static constexpr char const* format = "whole";
};

/** Whether `T` is `std::filesystem::path`, whose header is long. */
template <class T, class = void>
inline constexpr bool isPath = false;
template <class T>
inline constexpr bool
    isPath<T, std::enable_if_t<std::is_same_v<std::remove_const_t<decltype(T::preferred_separator)>,
                                              typename T::value_type>>> =
        std::is_same_v<typename T::string_type, std::string>;

template <class T>
struct BuiltIn<T, std::enable_if_t<isPath<T>>> {
    using Type = std::string;
    static std::string const& store(T const& path) { return path.native(); }
    static std::optional<T> load(std::string text) { return T(std::move(text)); }
};

template <class T>
struct BuiltIn<std::vector<T>, std::enable_if_t<!isElementKind<T>>> {
    static_assert(isElementKind<StoredType<T>>, "a list has elements that are stored as single values");
    using Type = std::vector<StoredType<T>>;
    static Type store(std::vector<T> const& values) {
        Type stored;
        stored.reserve(values.size());
        for (T const& value : values)
            stored.push_back(Stored<T>::store(value));
        return stored;
    }
    static std::optional<std::vector<T>> load(Type const& stored) {
        std::vector<T> values;
        values.reserve(stored.size());
        for (StoredType<T> const& element : stored) {
            std::optional<T> value = Stored<T>::load(element);
            if (!value)
                return std::nullopt;
            values.push_back(*std::move(value));
        }
        return values;
    }
};

/** Whether `To{from}` compiles: nothing is narrowed, and no pointer becomes a `bool`, such as that to a lambda. */
template <class To, class From, class Enable = void>
inline constexpr bool isBraceable = false;
template <class To, class From>
inline constexpr bool isBraceable<To, From, std::void_t<decltype(To{std::declval<From const&>()})>> = true;

/**
 * Whether a value of type `From` may be given for a setting of type `To`: an `int` for any number, so that literals
 * need no suffix; other numbers only for a type that holds all of their values; `bool` only for `bool`.
 */
template <class To, class From>
constexpr bool isAccepted() {
    if constexpr (std::is_same_v<To, From>)
        return true;
    else if constexpr (isNumeric<To> && isNumeric<From>)
        return std::is_same_v<From, int> || holdsEvery<To, From>();
    else if constexpr (std::is_arithmetic_v<To>)
        return std::is_class_v<From> && std::is_convertible_v<From const&, To> && isBraceable<To, From>;
    else
        return std::is_convertible_v<From const&, To> ||
               (std::is_same_v<To, std::string> && std::is_same_v<From, std::string_view>);
}

/** An accepted value as one of type `To`; nothing if an `int` is out of its range. */
template <class To, class From>
std::optional<To> accepted(From const& from) {
    if constexpr (isNumeric<To> && isNumeric<From>)
        return exactly<To>(from);
    else
        return To(from);
}

/** What a value is written as: any kind of text as a string, anything else as it is. */
template <class T>
using Written =
    std::conditional_t<std::is_same_v<std::decay_t<T>, char const*> ||
                           std::is_same_v<std::decay_t<T>, char*> || std::is_same_v<T, std::string_view>,
                       std::string, T>;

} // namespace detail

} // namespace velmorand
