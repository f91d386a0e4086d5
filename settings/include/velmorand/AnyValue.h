// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "velmorand/Export.h"

/**
 * Values whose kind is known only at run time, and the records in which the register stores them. For tools that handle
 * the settings of any application, such as `velmorand-register`; applications use velmorand/Property.h.
 *
 * Guide: docs/file-format.md#values.
 */
namespace velmorand {

/** The value of a setting: one of the eight kinds. */
using AnyValue = std::variant<std::string, double, int, bool, std::vector<std::string>, std::vector<double>,
                              std::vector<int>, std::vector<bool>>;

/** The names of the kinds, in the order of `AnyValue`. */
constexpr std::array<char const*, std::variant_size_v<AnyValue>> kindNames{
    "string", "number", "integer", "boolean", "strings", "numbers", "integers", "booleans"};

/** The index of `name` in `kindNames`; the size of `kindNames` if it is not the name of a kind. */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::size_t kindIndex(std::string const& name);

/**
 * Parses a value of the kind with the index `kind` in `kindNames`. Each text is one element: a string as it is; a
 * number in decimal digits, with an optional "." and exponent, or "nan", "inf" or "-inf"; a boolean as "true" or
 * "false".
 * Errors: `utils::Exception` with the first text that is not a valid element of that kind and, for a list, with its
 * number; and if there is not exactly one text for a single value.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT AnyValue valueOf(std::size_t kind,
                                                         std::vector<std::string> const& texts);

/** The elements of a value, as texts that `valueOf` accepts; a single value has one element. */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::vector<std::string> textsOf(AnyValue const& value);

/**
 * The record of a value: the bytes that the register stores for it, described in docs/file-format.md. The caller must
 * not pass a string of more than 2,147,483,647 bytes, nor a list with more elements than that.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::string encodeRecord(AnyValue const& value);

/** The result of decoding the bytes of a property. */
struct DecodedRecord {
    /**
     * The value. As in the register's readers, missing bytes count as 0, and bytes after the end are ignored. Empty if
     * the tags are unknown, or if a list claims to have more elements than the record has bytes: such a list could
     * exhaust the memory.
     */
    std::optional<AnyValue> value;

    /**
     * What is wrong with the record: a truncated field, an unknown tag, a negative length or count, or data after the
     * end. Empty if it is intact.
     */
    std::string damage;
};

/** Decodes a record. An empty record is intact and has no value: its property was created but never written. */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT DecodedRecord decodeRecord(std::string_view record);

} // namespace velmorand
