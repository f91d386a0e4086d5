// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <QVariant>

#include "Readers.h"

namespace velmorand::import {

/** How to interpret whole numbers in a store. */
enum class Whole {
    typed,  ///< they have the types of the program: 64-bit numbers become text, as in `Stored<long long>`
    untyped ///< the store has no integer types: each number gets the smallest kind that represents it exactly
};

/** Adds the setting in a variant or, if the variant is a map, all settings in it. */
void addSettings(std::vector<Found>& all, std::vector<std::string> const& path, QVariant const& variant,
                 Whole whole);

} // namespace velmorand::import
