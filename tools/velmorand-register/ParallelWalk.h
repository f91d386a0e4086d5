// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "Settings.h"

namespace tool {

/**
 * Walks through two groups at once, in the order of their names. Costs no more than two separate walks: names are
 * compared only from the position at which they changed in the last step.
 */
class ParallelWalk {
public:
    /** Both walks must be before their first entries. */
    ParallelWalk(Walk first, Walk second);

    /** Advances to the next name in either group. Result: false at the end. */
    bool next();

    /** The entry of the first group under the current name; null if it has none. */
    [[nodiscard]] Walk const* first() const { return _order <= 0 ? &_first : nullptr; }

    /** The entry of the second group under the current name; null if it has none. */
    [[nodiscard]] Walk const* second() const { return _order >= 0 ? &_second : nullptr; }

    /** The entry of the first group or, if it has none, of the second. */
    [[nodiscard]] Walk const& either() const { return _order <= 0 ? _first : _second; }

    /** Skips the content of the current entry, a group. */
    void skip();

private:
    void compareFrom(std::size_t begin);

    Walk _first;
    Walk _second;
    bool _isFirstThere = true;
    bool _isSecondThere = true;
    int _order = 0;          ///< compares the walks' entries: negative if the first walk's comes first
    std::size_t _common = 0; ///< size of the common prefix of their paths
};

} // namespace tool
