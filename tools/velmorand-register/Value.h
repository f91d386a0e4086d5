// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <velmorand/AnyValue.h>

namespace tool {

using velmorand::decodeRecord;
using velmorand::encodeRecord;
using velmorand::kindNames;

/** A property's value, of one of the eight kinds. */
using Value = velmorand::AnyValue;

/** What a property's bytes were found to be. */
using Reading = velmorand::DecodedRecord;

/** The kind's name, or "bytes" if there is no value. */
std::string_view kindName(Reading const& reading);

/**
 * The value of a kind that texts, one for each element, give.
 * Errors: `WrongCall` when there is no such kind, or for too few or too many texts; `Failure` for a text that is not
 * an element of that kind.
 */
Value parseValue(std::string const& kind, std::vector<std::string> const& texts);

/** The elements of a value, each as `parseValue` takes it; a single value has one. */
std::vector<std::string> elementTexts(Value const& value);

/** The elements of a value, each as a single value; a single value has one, itself. */
std::vector<Value> elementsOf(Value const& value);

} // namespace tool
