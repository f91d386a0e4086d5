// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

/**
 * The bytes of values in the register. Those that it contains are looked at without decoding them: its readers take a
 * truncated value for one that ends in zeros, and allocate what a damaged count asks for.
 */
namespace velmorand {

/** What a property's bytes are, for messages: "a list of strings". */
[[nodiscard]] char const* phraseFor(std::string_view record);

/** Whether a record whose tags are known has all the bytes that its lengths and counts ask for. */
[[nodiscard]] bool isComplete(std::string_view record);

/**
 * The bytes that the register's writers give a value of one of the eight kinds. A record gives a length or a count 31
 * bits; what is longer must be refused first.
 */
template <class T>
[[nodiscard]] std::string recordOf(T const& value);

} // namespace velmorand
