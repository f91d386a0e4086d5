// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tree.h"

namespace filesystem {

/**
 * Whether a node's path consists of the levels `first` and `rest`. Names are never empty and contain no "/", so paths with
 * empty levels do not match. It takes the levels one by one, because they are passed in registers.
 */
[[gnu::always_inline]] inline bool Tree::standsAt(Node const& node, std::string_view first,
                                                  std::string_view rest) const noexcept {
    std::size_t const size = node.nameLength;
    Node const& around = _nodes[node.parent];
    if (node.directory != 0 || !around.hasPath() || size > rest.size())
        return standsBelow(node, first, rest);
    // The usual case: a file in a directory that has its whole path.
    std::size_t const before = rest.size() - size;
    char const* const directory = around.path.text;
    char const* const name = rest.data() + before;
    if (around.path.end != 1 + first.size() + before || !sameBytes(node.text(), name, size) ||
        !sameBytes(directory, first.data(), first.size()))
        return false;
    if (before == 0)
        return true;
    char const* const slash = directory + first.size();
    return *slash == '/' && name[-1] == '/' && sameBytes(slash + 1, rest.data(), before - 1);
}

/** Inlined, because it is most of every read. */
[[gnu::always_inline]] inline Node const* Tree::findBelow(std::string_view first, std::string_view rest,
                                                          std::uint64_t restHash) const {
    Node const* node = nullptr;
    auto const matches = [&](NodeId id) { return standsAt(*(node = &_nodes[id]), first, rest); };
    NodeId const found = _index.find(PathHash::join(PathHash::ofFirst(first), restHash), matches);
    return found != noNode ? node : nullptr;
}

} // namespace filesystem
