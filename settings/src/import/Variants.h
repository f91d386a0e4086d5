// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <QVariant>

#include "Readers.h"

namespace velmorand::import {

/** What the whole numbers of a store are. */
enum class Whole {
    typed, ///< of the type that the program gave them: those of 64 bits become text, as `Stored<long long>` has it
    untyped ///< numbers as such: of the smallest kind that has them exactly
};

/** Adds the settings in a variant: one, or those in the group that a map is. */
void addSettings(std::vector<Found>& all, std::vector<std::string> const& path, QVariant const& variant,
                 Whole whole);

} // namespace velmorand::import
