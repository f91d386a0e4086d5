// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Node.h"

namespace filesystem {

class Tree;

/** What has changed in a first-level directory of a tree. The tree reports its changes here. */
class Journal {
public:
    Journal(Tree const& tree, std::string directory, std::function<void()> wake);

    /** The content of a file is about to change. Once is enough for a file written over and over. */
    void touch(NodeId id) noexcept {
        if (!isRecorded(id))
            record(id);
    }

    /** Whether touching a file makes no difference. */
    [[nodiscard]] bool isRecorded(NodeId id) const noexcept {
        return id < _recordedBits && (_recorded[id / wordBits] >> (id % wordBits) & 1U) != 0;
    }

    /** A node has come. Its number may have belonged to one that has gone. */
    void come(NodeId id) noexcept { record(id); }

    /** A node is about to go, with everything below it, or everything below it is about to be replaced. */
    void leave(NodeId id) noexcept;

    [[nodiscard]] bool isEmpty() const noexcept { return _isEmpty; }

    /** As `ChangeLog::take`. */
    [[nodiscard]] std::vector<std::string> take();

private:
    struct Touched {
        NodeId node;
        std::uint64_t generation;
    };

    static constexpr std::size_t wordBits = 64;
    static constexpr std::size_t mostBytes = 16'777'216; ///< of paths; beyond, it is everything

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
    bool _isEverything = false; ///< too much to record, or no memory for it
    std::vector<Touched> _touched;
    std::vector<std::uint64_t> _recorded; ///< a bit for each node's number: whether it is in `_touched`
    std::size_t _recordedBits = 0;        ///< how many it has
    std::vector<std::string> _left;
    std::size_t _leftBytes = 0;
};

} // namespace filesystem
