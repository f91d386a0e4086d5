// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "PathHash.h"
#include "TreePath.h"

namespace filesystem {

/**
 * The hash state of a directory's path, from which the hashes of its entries' paths are computed: each costs only as
 * much as hashing the entry's name.
 */
class PathPlace {
public:
    /** The place of the root. */
    PathPlace() = default;

    explicit PathPlace(TreePath const& path)
        : _isRoot(path.isRoot()), _first(_isRoot ? PathHash::root : PathHash::ofFirst(path.first)) {
        if (path.rest.empty())
            return;
        _rest.append(path.rest);
        _rest.append("/");
    }

    /** The hash of the path of `name` in this directory. */
    [[nodiscard]] std::uint32_t hashOf(std::string_view name) const {
        return PathHash::join(_first, _rest.with(name));
    }

    /** The directory `name` in this one. */
    [[nodiscard]] PathPlace below(std::string_view name) const {
        PathPlace place(*this);
        if (_isRoot) {
            place._isRoot = false;
            place._first = PathHash::ofFirst(name);
        } else {
            place._rest.append(name);
            place._rest.append("/");
        }
        return place;
    }

private:
    bool _isRoot = true;
    std::uint64_t _first = PathHash::root;
    PathHash _rest; ///< for the path after the first level, with a "/" at the end
};

} // namespace filesystem
