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
 * Values whose kind is known only when the program runs, and the records that the register keeps them as: for tools that
 * handle every application's settings, such as `velmorand-register`. Applications use velmorand/Property.h.
 */
namespace velmorand {

/** A setting's value, of one of the eight kinds. */
using AnyValue = std::variant<std::string, double, int, bool, std::vector<std::string>, std::vector<double>,
                              std::vector<int>, std::vector<bool>>;

/** The kinds' names, in the order of `AnyValue`. */
constexpr std::array<char const*, std::variant_size_v<AnyValue>> kindNames{
    "string", "number", "integer", "boolean", "strings", "numbers", "integers", "booleans"};

/** An index of `kindNames`, or their count for a name that is not a kind's. */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::size_t kindIndex(std::string const& name);

/**
 * The value of a kind, an index of `kindNames`, that texts give, one for each element: numbers in digits with a "."
 * where there is a fraction, booleans as "true" or "false".
 * Errors: `utils::Exception` with the text that is not an element of that kind, or if a single value does not get
 * exactly one text.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT AnyValue valueOf(std::size_t kind,
                                                         std::vector<std::string> const& texts);

/** The elements of a value, each as `valueOf` takes it; a single value has one. */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::vector<std::string> textsOf(AnyValue const& value);

/**
 * The record of a value: the bytes under which the register keeps it, which docs/file-format.md describes. A string or
 * list has at most 2,147,483,647 bytes or elements.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::string encodeRecord(AnyValue const& value);

/** What the bytes of a property are as a record. */
struct DecodedRecord {
    /**
     * What the register's readers make of them: what is missing as 0, and nothing from after the end. None for bytes of
     * no kind, and for a list that claims more elements than the record has bytes, which would fill their memory.
     */
    std::optional<AnyValue> value;

    /** Why the record is not whole, or what is after its end; empty if it is sound. */
    std::string damage;
};

/** Decodes a record. One without bytes is sound and has no value: its property was created and never written. */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT DecodedRecord decodeRecord(std::string_view record);

} // namespace velmorand
