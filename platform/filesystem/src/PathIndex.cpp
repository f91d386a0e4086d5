// SPDX-License-Identifier: Apache-2.0
#include "PathIndex.h"

#include <utility>

namespace filesystem {

namespace {

constexpr std::size_t smallestTable = 16;

/** The most entries in a table: in a fuller one, look-ups of missing entries would have to pass too many others. */
constexpr std::size_t limit(std::size_t tableSize) {
    return tableSize - 3 * (tableSize / 16);
}

} // namespace

PathIndex::PathIndex() : _slots(smallestTable), _mask(smallestTable - 1) {}

void PathIndex::reserve(std::size_t more) {
    std::size_t size = _slots.size();
    while (limit(size) < _used + more)
        size *= 2;
    if (size == _slots.size())
        return;
    std::vector<Slot> const old = std::exchange(_slots, std::vector<Slot>(size));
    _mask = size - 1;
    _used = 0;
    for (Slot const slot : old)
        if (slot.node != noNode)
            insert(slot);
}

void PathIndex::erase(std::uint32_t hash, NodeId node) noexcept {
    std::size_t hole = hash & _mask;
    while (_slots[hole].node != node)
        hole = (hole + 1) & _mask;
    // A later entry of the run moves into the hole if the hole is between the entry's home slot and its current slot:
    // otherwise look-ups would stop at the hole and miss the entry.
    for (std::size_t i = (hole + 1) & _mask; _slots[i].node != noNode; i = (i + 1) & _mask) {
        std::size_t const home = _slots[i].hash & _mask;
        if (((i - home) & _mask) >= ((i - hole) & _mask)) {
            _slots[hole] = _slots[i];
            hole = i;
        }
    }
    _slots[hole] = {};
    --_used;
}

} // namespace filesystem
