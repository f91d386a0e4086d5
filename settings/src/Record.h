// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/**
 * The bytes of values in the register, for the eight kinds. The register's own readers take a truncated value for one
 * that ends in zeros, and allocate what a damaged count asks for; its writers announce each value as they write it.
 * velmorand/AnyValue.h has the same for a kind that is known only at run time.
 */
namespace velmorand {

/**
 * A record gives a length or a count 31 bits.
 * Errors: `utils::Exception` for more.
 */
void requireSize(std::string const& name, std::size_t size, char const* unit);

/** Errors: `utils::Exception` for a value that is too long for a record. */
template <class T>
void requireFits(std::string const& /*name*/, T const& /*value*/) {}

inline void requireFits(std::string const& name, std::string const& value) {
    requireSize(name, value.size(), "bytes");
}

template <class T>
void requireFits(std::string const& name, std::vector<T> const& values) {
    requireSize(name, values.size(), "elements");
    if constexpr (std::is_same_v<T, std::string>)
        for (std::string const& value : values)
            requireFits(name, value);
}

/** The bytes that the register's writers give a value. It must fit. */
template <class T>
[[nodiscard]] std::string encoded(T const& value);

/** The value in a record; none if it is of another kind, or truncated. What comes after it does not matter. */
template <class T>
[[nodiscard]] std::optional<T> decoded(std::string_view record);

/** Why `decoded` finds no value in a record: "expected a number, found a list of strings". */
template <class T>
[[nodiscard]] std::string whyNotDecoded(std::string_view record);

/** The same where something else is: `found` says what. */
template <class T>
[[nodiscard]] std::string expectedInsteadOf(char const* found);

} // namespace velmorand
