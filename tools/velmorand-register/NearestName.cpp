// SPDX-License-Identifier: Apache-2.0
#include "NearestName.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace tool {

namespace {

/** The size, in bytes, of the leading groups that two names share. */
std::size_t commonGroups(std::string_view left, std::string_view right) {
    auto const differing = std::mismatch(left.begin(), left.end(), right.begin(), right.end()).first;
    auto const common = left.substr(0, static_cast<std::size_t>(differing - left.begin()));
    return common.rfind('/') + 1;
}

/**
 * The largest distance at which one name is a plausible misspelling of the other. Both are given without the groups
 * that they share.
 */
std::size_t farthest(std::string_view name, std::string_view other) {
    constexpr std::size_t slips = 3;
    return std::min(std::max(name.size(), other.size()) / 3, slips);
}

/** Computes edit distances, with buffers that are reused. */
class Distance {
public:
    /**
     * The edit distance: how many bytes must be inserted, removed, replaced or swapped with a neighbour to turn one
     * text into the other. If it exceeds `most`, the result is some number above `most`. Time: in proportion to `most`
     * times the size.
     */
    std::size_t operator()(std::string_view from, std::string_view to, std::size_t most) {
        std::size_t const sizes = from.size() < to.size() ? to.size() - from.size() : from.size() - to.size();
        if (sizes > most)
            return most + 1;
        _older.assign(to.size() + 1, most + 1);
        _old = _older;
        _current.resize(to.size() + 1);
        std::iota(_current.begin(), _current.end(), std::size_t{0});
        std::size_t leastBefore = 0;
        for (std::size_t i = 1; i <= from.size(); ++i) {
            _older.swap(_old);
            _old.swap(_current);
            std::size_t const least = goOn(from, i, to, most);
            if (std::min(least, leastBefore) > most) // a swap refers to the row before the last
                return most + 1;
            leastBefore = least;
        }
        return _current[to.size()];
    }

private:
    /**
     * Computes row `i` of the table: the distances of the first `i` bytes of `from` to those prefixes of `to` whose
     * sizes differ from `i` by at most `most`, between sentinels. Result: the least distance in the row.
     */
    std::size_t goOn(std::string_view from, std::size_t i, std::string_view to, std::size_t most) {
        std::size_t const first = i > most ? i - most : 1;
        std::size_t const last = std::min(to.size(), i + most);
        _current[first - 1] = first == 1 ? i : most + 1;
        std::size_t least = _current[first - 1];
        for (std::size_t j = first; j <= last; ++j) {
            std::size_t const replaced = _old[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
            _current[j] = std::min({_old[j] + 1, _current[j - 1] + 1, replaced});
            bool const isSwapped = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
            if (isSwapped)
                _current[j] = std::min(_current[j], _older[j - 2] + 1);
            least = std::min(least, _current[j]);
        }
        if (last < to.size())
            _current[last + 1] = most + 1;
        return least;
    }

    // The rows for a prefix of `from`, and for the prefixes one and two bytes shorter.
    std::vector<std::size_t> _current;
    std::vector<std::size_t> _old;
    std::vector<std::size_t> _older;
};

} // namespace

std::optional<std::string> nearestName(DeclaredGroup const& group, std::string_view name) {
    std::optional<std::string> nearest;
    std::size_t least = name.size() + 1;
    Distance distance;
    for (auto entry = group.begin; entry != group.end; ++entry) {
        std::string const& declared = entry->first;
        std::size_t const common = commonGroups(name, declared);
        std::string_view const from = name.substr(common);
        std::string_view const to = std::string_view(declared).substr(common);
        std::size_t const most = std::min(farthest(from, to), least - 1);
        if (std::size_t const needed = distance(from, to, most); needed <= most) {
            nearest = declared;
            least = needed;
        }
    }
    return nearest;
}

std::string notDeclared(std::optional<std::string> const& nearest) {
    return "not declared" + (nearest ? " (did you mean \"" + *nearest + "\"?)" : std::string());
}

} // namespace tool
