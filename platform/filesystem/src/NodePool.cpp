// SPDX-License-Identifier: Apache-2.0
#include "NodePool.h"

#include <algorithm>
#include <limits>
#include <new>

namespace filesystem {

NodePool::~NodePool() {
    // A released node holds no text, so every number ever used can be treated alike.
    for (NodeId id = noNode + 1; id < _made; ++id)
        (*this)[id].freeText();
}

NodeId NodePool::make(bool directory) {
    NodeId id = _released;
    std::uint32_t generation = 0;
    if (id != noNode) {
        _released = (*this)[id].next;
        generation = (*this)[id].generation;
    } else {
        if (_made == std::numeric_limits<NodeId>::max())
            throw std::bad_alloc();
        if (_made / blockSize == _blocks.size())
            _blocks.push_back(std::make_unique<Block>());
        id = _made++;
    }
    Node& node = (*this)[id];
    node = Node{};
    node.generation = generation;
    node.directory = directory ? 1 : 0;
    node.ordered = 1;
    if (!directory)
        node.capacity = Node::inlineCapacity;
    return id;
}

void NodePool::release(NodeId id) noexcept {
    Node& node = (*this)[id];
    node.freeText();
    std::uint32_t const generation = node.generation + 1;
    node = Node{};
    node.generation = generation;
    node.next = _released;
    _released = id;
}

} // namespace filesystem
