// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Declaration.h"

/** Compares values with declarations. */
namespace tool {

/** What a declaration allows, such as "a number from 6 to 72". */
std::string expectationOf(Declaration const& declaration);

/** The message that `found`, such as "a group", is not as declared. */
std::string objection(std::string const& found, Declaration const& declaration);

/** Why a value is not as declared; empty if it is. */
std::string objectionTo(Value const& value, Declaration const& declaration);

/** Why a limit is not valid for a format; empty if it is. */
std::string objectionToLimit(Value const& limit, Format format);

} // namespace tool
