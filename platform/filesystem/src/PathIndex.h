// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Node.h"

namespace filesystem {

/**
 * Finds nodes by the hash of their path: one flat table with open addressing, at most thirteen sixteenths full, with eight
 * bytes per slot.
 */
class PathIndex {
public:
    struct Slot {
        std::uint32_t hash;
        NodeId node;
    };

    PathIndex();

    /** The node with this hash for which `matches` returns true; `noNode` if there is none. */
    template <class Matches>
    [[nodiscard]] NodeId find(std::uint32_t hash, Matches&& matches) const {
        for (std::size_t i = hash & _mask;; i = (i + 1) & _mask) {
            Slot const slot = _slots[i];
            if (slot.node == noNode || (slot.hash == hash && matches(slot.node)))
                return slot.node;
        }
    }

    /**
     * Makes room for `more` insertions, which then cannot fail.
     * Errors: `std::bad_alloc`; nothing has changed.
     */
    void reserve(std::size_t more);

    /** Adds a node; its room must have been reserved. */
    void insert(Slot slot) noexcept {
        std::size_t i = slot.hash & _mask;
        while (_slots[i].node != noNode)
            i = (i + 1) & _mask;
        _slots[i] = slot;
        ++_used;
    }

    /** Removes a node that was inserted with this hash. */
    void erase(std::uint32_t hash, NodeId node) noexcept;

private:
    std::vector<Slot> _slots;
    std::size_t _mask;
    std::size_t _used = 0;
};

} // namespace filesystem
