// SPDX-License-Identifier: Apache-2.0
#include "NodePool.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <new>

namespace filesystem {

// Number 0 is `noNode`: its node has no name, parent or children.
NodePool::NodePool() {
    static_cast<void>(make(true));
}

NodePool::~NodePool() {
    // Released nodes own nothing, so all nodes can be treated alike.
    for (NodeId id = noNode; id < _made; ++id)
        (*this)[id].freeAll();
}

/** A number that has never been used. Its node is initialised like the last one in the list of released nodes. */
NodeId NodePool::makeNew() {
    if (_made == std::numeric_limits<NodeId>::max())
        throw std::bad_alloc();
    if (_made / blockSize == _blocks.size())
        // NOLINTNEXTLINE(modernize-make-unique): would zero the block, whose nodes are initialised one by one
        _blocks.push_back(std::unique_ptr<Block>(new Block));
    Node& node = (*this)[_made];
    node.generation = 0;
    std::fill(std::begin(node.nextReleased), std::end(node.nextReleased), noNode);
    return _made++;
}

void NodePool::release(NodeId id) noexcept {
    Node& node = (*this)[id];
    node.freeAll();
    std::uint64_t const generation = node.generation + 1;
    node = Node{};
    node.generation = generation;
    auto const& next = (*this)[_released].nextReleased;
    std::copy_backward(std::begin(next), std::end(next) - 1, std::end(node.nextReleased));
    node.nextReleased[0] = _released;
    _released = id;
}

} // namespace filesystem
