// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "PathHash.h"
#include "TreePath.h"

namespace filesystem {

/** Where a path has got to on the way down from the root, and its hash there; each step costs only the name.
 */
class PathPlace {
public:
    /** The root. */
    PathPlace() = default;

    explicit PathPlace(TreePath const& path)
        : _first(PathHash::of(path.first)), _level(path.isRoot()       ? Level::root
                                                   : path.rest.empty() ? Level::first
                                                                       : Level::below) {
        _rest.append(path.rest);
    }

    [[nodiscard]] PathPlace below(std::string_view name) const {
        PathPlace place(*this);
        if (_level == Level::root) {
            place._first = PathHash::of(name);
            place._level = Level::first;
            return place;
        }
        if (_level == Level::below)
            place._rest.append("/");
        place._rest.append(name);
        place._level = Level::below;
        return place;
    }

    [[nodiscard]] std::uint32_t hash() const { return PathHash::join(_first, _rest.value()); }

private:
    enum class Level { root, first, below };

    std::uint64_t _first = 0;
    PathHash _rest; ///< of what follows the first level
    Level _level = Level::root;
};

} // namespace filesystem
