// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <velmorand/AnyValue.h>

namespace tool {

using velmorand::decodeRecord;
using velmorand::encodeRecord;
using velmorand::kindNames;

/** The number of kinds that are not lists. In `kindNames`, these come first; the lists follow in the same order. */
constexpr std::size_t singles = kindNames.size() / 2;

/** A property's value, of one of the eight kinds. */
using Value = velmorand::AnyValue;

/** The result of decoding a property's bytes. */
using Reading = velmorand::DecodedRecord;

/** The names of all kinds, for messages: "string, number, ...". */
std::string allKinds();

/** The kind's name, or "bytes" if there is no value. */
std::string_view kindName(Reading const& reading);

/**
 * Parses a value of a kind from texts, one per element.
 * Errors: `WrongCall` for an unknown kind, or too few or too many texts; `Failure` for a text that is not an element of
 * that kind.
 */
Value parseValue(std::string const& kind, std::vector<std::string> const& texts);

/** The elements of a value as texts for `parseValue`; a single value has one element. */
std::vector<std::string> elementTexts(Value const& value);

/** The elements of a value; a single value has one element, itself. */
std::vector<Value> elementsOf(Value const& value);

} // namespace tool
