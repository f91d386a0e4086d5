// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <QVariant>

#include "Readers.h"

namespace velmorand::import {

/** How to interpret whole numbers in a store. */
enum class Whole {
    typed,  ///< the type is the program's: those of 64 bits become text, as in `Stored<long long>`
    untyped ///< the store has no integer types: each gets the smallest kind that is exact
};

/** Adds the setting in a variant or, if it is a map, the settings in that group. */
void addSettings(std::vector<Found>& all, std::vector<std::string> const& path, QVariant const& variant,
                 Whole whole);

} // namespace velmorand::import
