// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Node.h"

namespace filesystem {

class Tree;

/** Records changes in a first-level directory of a tree. Called by the tree. */
class Journal {
public:
    Journal(Tree const& tree, std::string directory, std::function<void()> wake);

    /** Called before the content of a file changes. Repeated calls for the same file are cheap. */
    void touch(NodeId id) noexcept {
        if (!isRecorded(id))
            record(id);
    }

    /** Whether a file is recorded already. */
    [[nodiscard]] bool isRecorded(NodeId id) const noexcept {
        return id < _recordedBits && (_recorded[id / wordBits] >> (id % wordBits) & 1U) != 0;
    }

    /** Called after a node has been added. It may reuse the number of a removed node. */
    void come(NodeId id) noexcept { record(id); }

    /** Called before a node and everything below it is removed, or everything below it is replaced. */
    void leave(NodeId id) noexcept;

    [[nodiscard]] bool isEmpty() const noexcept { return _isEmpty; }

    /** See `ChangeLog::take`. */
    [[nodiscard]] std::vector<std::string> take();

private:
    struct Touched {
        NodeId node;
        std::uint64_t generation;
    };

    static constexpr std::size_t wordBits = 64;
    static constexpr std::size_t mostBytes = 16'777'216; ///< of paths; above it, everything counts as changed

    void record(NodeId id) noexcept;
    void add(NodeId id);
    void begin() noexcept;
    [[nodiscard]] bool isInside(NodeId id) const;
    [[nodiscard]] std::string pathOf(NodeId id) const;
    [[nodiscard]] std::vector<std::string> changedPaths();

    Tree const& _tree;
    std::string _directory;
    std::function<void()> _wake;
    bool _isEmpty = true;
    bool _isEverything = false; ///< too many changes, or not enough memory, to record them
    std::vector<Touched> _touched;
    std::vector<std::uint64_t> _recorded; ///< a bit for each node: whether it is in `_touched`
    std::size_t _recordedBits = 0;        ///< the number of these bits
    std::vector<std::string> _left;
    std::size_t _leftBytes = 0;
};

} // namespace filesystem
