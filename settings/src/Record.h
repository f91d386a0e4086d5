// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/**
 * Encoding and decoding of values, for the eight kinds. Needed next to the register's readers and writers, because the
 * readers fill truncated values with zeros and allocate as much as a damaged count asks for, and the writers announce
 * each value at once. velmorand/AnyValue.h does the same for kinds that are known only at run time.
 */
namespace velmorand {

/**
 * A record holds lengths and counts in 31 bits, which the register's writers do not check.
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

/** The bytes that the register's writers produce for a value, which must fit. */
template <class T>
[[nodiscard]] std::string encoded(T const& value);

/** The value in a record; none if it is of another kind, or truncated. Bytes after the value are ignored. */
template <class T>
[[nodiscard]] std::optional<T> decoded(std::string_view record);

/** Why `decoded` finds no value in a record: "expected a number, found a list of strings". */
template <class T>
[[nodiscard]] std::string whyNotDecoded(std::string_view record);

/** The same message for something other than a record; `found` names it. */
template <class T>
[[nodiscard]] std::string expectedInsteadOf(char const* found);

} // namespace velmorand
