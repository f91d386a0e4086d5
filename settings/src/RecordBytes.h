// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

/**
 * The bytes of a value in the register, looked at without decoding them: the register's readers take a truncated value
 * for one that ends in zeros, and allocate what a damaged count asks for.
 */
namespace velmorand {

/** What a property's bytes are, for messages: "a list of strings". */
[[nodiscard]] char const* phraseFor(std::string_view record);

/** Whether a record whose tags are known has all the bytes that its lengths and counts ask for. */
[[nodiscard]] bool isComplete(std::string_view record);

} // namespace velmorand
