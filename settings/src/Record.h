// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

/**
 * The bytes of values in the register, for the eight kinds. The register's own readers take a truncated value for one
 * that ends in zeros, and allocate what a damaged count asks for; its writers announce each value as they write it.
 * velmorand/AnyValue.h has the same for a kind that is known only at run time.
 */
namespace velmorand {

/**
 * The bytes that the register's writers give a value. A record gives a length or a count 31 bits; what is longer must be
 * refused first.
 */
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
