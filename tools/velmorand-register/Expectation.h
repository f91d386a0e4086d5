// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Declaration.h"

/** Compares values with declarations. */
namespace tool {

/** The values that a declaration allows, such as "a number from 6 to 72". */
std::string expectationOf(Declaration const& declaration);

/** Whether a declaration allows only some of the values of its kind. */
bool isRestricted(Declaration const& declaration);

/** The message that `found`, such as "a group", does not match the declaration. */
std::string objection(std::string const& found, Declaration const& declaration);

/** Why a value does not match its declaration; empty if it does. */
std::string objectionTo(Value const& value, Declaration const& declaration);

/** Why a resolution is not valid; empty if it is valid. */
std::string objectionToResolution(Value const& resolution);

/** Why a limit is not valid for a format; empty if it is valid. */
std::string objectionToLimit(Value const& limit, Format format);

} // namespace tool
