// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Declaration.h"

/** Whether values are as declared. */
namespace tool {

/** What a declaration allows, such as "a number from 6 to 72". */
std::string expectationOf(Declaration const& declaration);

/** Why something is not as declared; `found` names it, such as "a group". */
std::string objection(std::string const& found, Declaration const& declaration);

/** Why a value is not as declared; empty if it is. */
std::string objectionTo(Value const& value, Declaration const& declaration);

/** Why a limit cannot be one; empty if it can. */
std::string objectionToLimit(Value const& limit, Format format);

} // namespace tool
