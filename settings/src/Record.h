// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/**
 * Encodes and decodes values of the eight kinds. Needed in addition to the register's readers and writers, because the
 * readers fill truncated values with zeros and trust a damaged count when they allocate memory, and the writers
 * announce each value immediately. velmorand/AnyValue.h does the same for kinds that are known only at run time.
 */
namespace velmorand {

/**
 * Checks that a length or count fits into a record, which has 31 bits for it; the register's writers do not check this.
 * Errors: `utils::Exception` if it does not fit.
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

/** The value in a record; nothing if it is of another kind or truncated. Bytes after the value are ignored. */
template <class T>
[[nodiscard]] std::optional<T> decoded(std::string_view record);

/** Why `decoded` returns nothing for a record: "expected a number, found a list of strings". */
template <class T>
[[nodiscard]] std::string whyNotDecoded(std::string_view record);

/** The same message, with `found` as the text after "found". */
template <class T>
[[nodiscard]] std::string expectedInsteadOf(char const* found);

} // namespace velmorand
