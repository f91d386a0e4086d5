// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "Settings.h"

namespace tool {

/**
 * Goes through two groups at once, in the order of the names, at the cost of going through each of them: names are
 * compared from where they have changed, so their lengths do not count at every step.
 */
class ParallelWalk {
public:
    /** The walks are before their first entries. */
    ParallelWalk(Walk first, Walk second);

    /** Goes on to the next name that either has. Result: whether there is one. */
    bool next();

    /** What the first group has under the current name; null for nothing. */
    [[nodiscard]] Walk const* first() const { return _order <= 0 ? &_first : nullptr; }

    /** What the second group has under the current name; null for nothing. */
    [[nodiscard]] Walk const* second() const { return _order >= 0 ? &_second : nullptr; }

    /** The first's entry, or else the second's. */
    [[nodiscard]] Walk const& either() const { return _order <= 0 ? _first : _second; }

    /** Leaves out what is in the current entry, a group. */
    void skip();

private:
    void compareFrom(std::size_t begin);

    Walk _first;
    Walk _second;
    bool _isFirstThere = true;
    bool _isSecondThere = true;
    int _order = 0;          ///< of the walks' entries: negative when the first one's comes first
    std::size_t _common = 0; ///< bytes that their paths begin with alike
};

} // namespace tool
