// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/**
 * Optional details of a declaration. They follow the name and the fallback, in any order:
 *
 *     Property<double> size{"editor/size", 11.0, range(6.0, 72.0), description("Font size, in points")};
 *
 * For a list, limits, choices and checks apply to each element. The fallback itself is not checked.
 *
 * Guide: docs/types.md#details-of-a-declaration.
 */
namespace velmorand {

namespace detail {

struct Description {
    std::string text;
};

template <class Minimum, class Maximum>
struct Limits {
    std::optional<Minimum> minimum;
    std::optional<Maximum> maximum;
};

template <class T>
struct Choices {
    std::vector<T> values;
};

template <class Allows>
struct Check {
    Allows allows;
    std::string expected;
};

} // namespace detail

/** The purpose of the setting: a sentence for users, with units and without the setting's name. */
[[nodiscard]] inline detail::Description description(std::string text) {
    return {std::move(text)};
}

///@{
/** The smallest and the largest allowed value. */
template <class Minimum, class Maximum>
[[nodiscard]] detail::Limits<Minimum, Maximum> range(Minimum minimum, Maximum maximum) {
    return {std::move(minimum), std::move(maximum)};
}
template <class Minimum>
[[nodiscard]] detail::Limits<Minimum, Minimum> atLeast(Minimum minimum) {
    return {std::move(minimum), std::nullopt};
}
template <class Maximum>
[[nodiscard]] detail::Limits<Maximum, Maximum> atMost(Maximum maximum) {
    return {std::nullopt, std::move(maximum)};
}
///@}

/** The only allowed values. An enum does not need this: its names are its choices. */
template <class T>
[[nodiscard]] detail::Choices<T> choices(std::initializer_list<T> values) {
    return {values};
}

/**
 * A check defined by the program: `allows(value)` returns whether the value is allowed. It may be called on any thread,
 * even with the settings' lock held. It must not use the settings, throw, or destroy the property. Its result must
 * depend only on the value, because it is cached until the register changes. `expected` completes messages: "expected a
 * directory below /srv".
 */
template <class Allows>
[[nodiscard]] detail::Check<Allows> check(Allows allows, std::string expected = {}) {
    return {std::move(allows), std::move(expected)};
}

} // namespace velmorand
