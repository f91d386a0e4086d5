// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>

#include "velmorand/Export.h"
#include "velmorand/Stored.h"

/**
 * Gives the values of an enum the names under which settings store them:
 *
 *     enum class Theme { light, dark, system };
 *     VELMORAND_ENUM(Theme, {Theme::light, "light"}, {Theme::dark, "dark"}, {Theme::system, "system"})
 *
 * Use it once per enum, after its definition and in its namespace. Enumerators may be renamed later, but the names
 * given here must not change, because files contain them. A value may have several names: it is written with the first
 * one, and read with any of them.
 *
 * Guide: docs/types.md#types-of-settings.
 */
#define VELMORAND_ENUM(Enum, ...)                                                                            \
    [[maybe_unused]] inline ::velmorand::detail::EnumNames<Enum> velmorandEnumNames(Enum /*any*/) {          \
        static constexpr ::velmorand::detail::EnumName<Enum> names[] = {__VA_ARGS__};                        \
        return {names, names + sizeof(names) / sizeof(names[0])};                                            \
    }

namespace velmorand::detail {

template <class Enum>
struct EnumName {
    Enum value;
    char const* name;
};

template <class Enum>
struct EnumNames {
    EnumName<Enum> const* first;
    EnumName<Enum> const* last;

    [[nodiscard]] EnumName<Enum> const* begin() const { return first; }
    [[nodiscard]] EnumName<Enum> const* end() const { return last; }
};

/** Throws `utils::Exception`: a value of an enum has no name, so it cannot be stored. */
[[noreturn]] VELMORAND_SETTINGS_EXPORT void refuseUnnamed(std::int64_t value);

/** Stores an enum by the names that `Source::names()` lists. */
template <class Enum, class Source>
struct StoredByName : Source {
    using Type = std::string;

    /** Errors: `utils::Exception` for a value without a name. */
    static std::string store(Enum value) {
        for (EnumName<Enum> const& known : Source::names())
            if (known.value == value)
                return known.name;
        refuseUnnamed(static_cast<std::int64_t>(value));
    }

    static std::optional<Enum> load(std::string const& name) {
        for (EnumName<Enum> const& known : Source::names())
            if (name == known.name)
                return known.value;
        return std::nullopt;
    }
};

template <class Enum>
struct GivenNames {
    static EnumNames<Enum> names() { return velmorandEnumNames(Enum()); }
};

/** Whether an enum has been named with `VELMORAND_ENUM`. */
template <class Enum, class Enable = void>
inline constexpr bool hasGivenNames = false;
template <class Enum>
inline constexpr bool hasGivenNames<Enum, std::void_t<decltype(velmorandEnumNames(Enum()))>> = true;

template <class Enum>
struct BuiltIn<Enum, std::enable_if_t<std::is_enum_v<Enum> && hasGivenNames<Enum>>>
    : StoredByName<Enum, GivenNames<Enum>> {};

} // namespace velmorand::detail
