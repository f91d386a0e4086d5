// SPDX-License-Identifier: Apache-2.0
#include "NearestName.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace tool {

namespace {

/** The number of bytes in the groups that two names begin with alike. */
std::size_t commonGroups(std::string_view left, std::string_view right) {
    auto const differing = std::mismatch(left.begin(), left.end(), right.begin(), right.end()).first;
    auto const common = left.substr(0, static_cast<std::size_t>(differing - left.begin()));
    return common.rfind('/') + 1;
}

/**
 * The number of bytes to insert, remove, replace or swap with their neighbours to make one text from the other; or
 * any number above `most` if it takes more than that.
 */
std::size_t distance(std::string_view from, std::string_view to, std::size_t most) {
    // The distances of beginnings of `from` from all beginnings of `to`: of the current one and the two before it.
    std::vector<std::size_t> older(to.size() + 1);
    std::vector<std::size_t> old(to.size() + 1);
    std::vector<std::size_t> current(to.size() + 1);
    std::iota(current.begin(), current.end(), std::size_t{0});
    for (std::size_t i = 1; i <= from.size(); ++i) {
        older.swap(old);
        old.swap(current);
        current[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            std::size_t const replaced = old[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
            current[j] = std::min({old[j] + 1, current[j - 1] + 1, replaced});
            bool const isSwapped = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
            if (isSwapped)
                current[j] = std::min(current[j], older[j - 2] + 1);
        }
        if (*std::min_element(current.begin(), current.end()) > most &&
            *std::min_element(old.begin(), old.end()) > most)
            return most + 1;
    }
    return current[to.size()];
}

/** How far a name may be from the one that it was meant to be, where their groups differ. */
std::size_t farthest(std::string_view name, std::string_view other) {
    return std::max(name.size(), other.size()) / 3;
}

} // namespace

std::optional<std::string> nearestName(Declarations const& declarations, std::string_view name) {
    std::optional<std::string> nearest;
    std::size_t least = name.size() + 1;
    for (auto const& [declared, declaration] : declarations) {
        std::size_t const common = commonGroups(name, declared);
        std::string_view const from = name.substr(common);
        std::string_view const to = std::string_view(declared).substr(common);
        std::size_t const most = std::min(farthest(from, to), least - 1);
        std::size_t const lengths =
            from.size() < to.size() ? to.size() - from.size() : from.size() - to.size();
        if (lengths > most)
            continue;
        if (std::size_t const needed = distance(from, to, most); needed <= most) {
            nearest = declared;
            least = needed;
        }
    }
    return nearest;
}

} // namespace tool
