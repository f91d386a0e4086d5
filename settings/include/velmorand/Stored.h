// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "velmorand/Conversion.h"
#include "velmorand/Export.h"

/**
 * The types that a setting can have.
 *
 * The register stores eight kinds of value: `std::string`, `double`, `int`, `bool`, and a `std::vector` of each.
 * `Stored<T>` defines which of them a type is stored as, and converts in both directions. Built in:
 *
 * | type                                             | stored as                                                |
 * |--------------------------------------------------|----------------------------------------------------------|
 * | `std::string`, `double`, `int`, `bool`           | the same type                                            |
 * | `signed char`, `short`, their unsigned forms     | an integer                                               |
 * | `unsigned`, `float`                              | a number                                                 |
 * | `long`, `long long`, their unsigned forms        | a string of decimal digits                               |
 * | an enum declared with `VELMORAND_ENUM` (Enum.h)  | a string, the name of the value                          |
 * | `std::chrono` durations (Duration.h)             | a string, a number and a unit: "1500ms"                  |
 * | `std::filesystem::path`                          | a string, the path's bytes                               |
 * | a `std::vector` of one of these                  | a list                                                   |
 *
 * QtTypes.h adds types of Qt. The table is the same on every machine, so that register files are portable; for example,
 * `long` is a string even if it has 32 bits.
 *
 * Guide: docs/types.md#a-type-of-your-own.
 */
namespace velmorand {

namespace detail {

template <class T, class Enable = void>
struct BuiltIn;

} // namespace detail

/**
 * How a type is stored. Specialise it to use a type of your own for settings:
 *
 *     template <>
 *     struct velmorand::Stored<Colour> {
 *         using Type = std::string;                                    // one of the eight kinds
 *         static std::string store(Colour const& colour);
 *         static std::optional<Colour> load(std::string const& text); // std::nullopt: `text` is not a colour
 *         static std::string expected() { return "a colour such as #ff8000"; } // optional, for messages
 *     };
 *
 * `store` may throw `utils::Exception` if a value cannot be stored. The result of `load` must depend only on its
 * argument, because it is cached until the register changes. If `load` throws, the value counts as invalid.
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

/** Whether `T` can be the type of a setting. */
template <class T, class Enable = void>
inline constexpr bool isStored = false;
template <class T>
inline constexpr bool isStored<T, std::void_t<typename Stored<T>::Type>> = isKind<typename Stored<T>::Type>;

template <class T>
struct RequireStored {
    static_assert(isStored<T> || !std::is_enum_v<T>,
                  "name the values of the enum with VELMORAND_ENUM (velmorand/Enum.h)");
    static_assert(
        isStored<T> || std::is_enum_v<T>,
        "this type is not built in: specialise velmorand::Stored for it (velmorand/Stored.h), or include "
        "velmorand/QtTypes.h if it is one of Qt");
    using Type = typename Stored<T>::Type;
};

/** The kind of value that a type is stored as. */
template <class T>
using StoredType = typename RequireStored<T>::Type;

/**
 * Parses a whole number: decimal digits, after a "-" if it is negative. Returns nothing if the text is anything else,
 * or if the number is out of range.
 */
VELMORAND_SETTINGS_EXPORT std::optional<std::int64_t> signedWhole(std::string const& text);
VELMORAND_SETTINGS_EXPORT std::optional<std::uint64_t> unsignedWhole(std::string const& text);

template <class T>
inline constexpr bool isLong = std::is_same_v<T, long> || std::is_same_v<T, unsigned long> ||
                               std::is_same_v<T, long long> || std::is_same_v<T, unsigned long long>;

/** Empty, for types that are not built in. */
template <class T, class Enable>
struct BuiltIn {};

template <class T>
struct BuiltIn<T, std::enable_if_t<isKind<T>>> {
    using Type = T;
    static T const& store(T const& value) { return value; }
    static std::optional<T> load(T value) { return value; }
};

template <class T>
struct BuiltIn<T, std::enable_if_t<isNumeric<T> && !isKind<T> && !isLong<T>>> {
    using Type = std::conditional_t<holdsEvery<int, T>(), int, double>;
    static Type store(T value) { return static_cast<Type>(value); }
    static std::optional<T> load(Type value) {
        if constexpr (std::is_floating_point_v<T>)
            return nearest<T>(value);
        else
            return exactly<T>(value);
    }
    static constexpr char const* format =
        std::is_integral_v<T> && std::is_same_v<Type, double> ? "whole" : "";
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

/** Whether `T` is `std::filesystem::path`. Does not include its header, which is large. */
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
struct BuiltIn<std::vector<T>,
               std::enable_if_t<!isElementKind<T> && isElementKind<typename Stored<T>::Type>>> {
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

} // namespace detail

} // namespace velmorand
