// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "Node.h"

namespace filesystem {

/** The nodes of a tree: allocated in blocks, identified by number, reused after their release. */
class NodePool {
public:
    NodePool();
    NodePool(NodePool const&) = delete;
    NodePool& operator=(NodePool const&) = delete;
    ~NodePool();

    [[nodiscard]] Node& operator[](NodeId id) noexcept { return (*_blocks[id / blockSize])[id % blockSize]; }
    [[nodiscard]] Node const& operator[](NodeId id) const noexcept {
        return (*_blocks[id / blockSize])[id % blockSize];
    }

    /** A node without a parent, children or text. Errors: `std::bad_alloc`; nothing has changed. */
    [[nodiscard]] NodeId make(bool directory) {
        NodeId const id = _released != noNode ? _released : makeNew();
        Node& node = (*this)[id];
        _released = node.nextReleased[0];
        // Nodes that were released long ago are no longer in the cache.
        __builtin_prefetch(&(*this)[node.nextReleased[3]]);
        std::uint64_t const generation = node.generation;
        node = Node{};
        node.generation = generation;
        if (directory)
            node.directory = 1;
        else
            node.file.capacity = Node::inlineCapacity;
        return id;
    }

    /**
     * Releases a node and everything it owns, and changes its generation, so that holders of its number can detect
     * that.
     */
    void release(NodeId id) noexcept;

private:
    static constexpr NodeId blockSize = 512;
    using Block = std::array<Node, blockSize>;

    NodeId makeNew();

    std::vector<std::unique_ptr<Block>> _blocks;
    NodeId _made = noNode;     ///< the lowest number that has never been used
    NodeId _released = noNode; ///< the head of the list of released nodes
};

} // namespace filesystem
