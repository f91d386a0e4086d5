// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tree.h"

namespace filesystem {

// The look-ups of a tree. Inlined, because they are most of every read and write.

inline NodeId Tree::findInIndex(TreePath const& path) const {
    return _index.find(path.hash, [&](NodeId id) { return standsAt(id, path); });
}

[[gnu::always_inline]] inline NodeId Tree::findBelow(std::initializer_list<std::string_view> firsts,
                                                     std::string_view rest) const {
    std::uint64_t const restHash = PathHash::of(rest);
    for (std::string_view const first : firsts)
        if (NodeId const id = findInIndex(TreePath::below(first, rest, restHash)); id != noNode)
            return id;
    return noNode;
}

} // namespace filesystem
