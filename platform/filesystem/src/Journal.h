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

    /** A node has come, or its content is about to change. Once is enough for a file written over and over. */
    void touch(NodeId id) noexcept {
        if (id != _last)
            record(id);
    }

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

    static constexpr std::size_t smallest = 4'096;
    static constexpr std::size_t mostBytes = 16'777'216; ///< of paths; beyond, it is everything

    void record(NodeId id) noexcept;
    void add(NodeId id);
    void begin() noexcept;
    [[nodiscard]] bool isInside(NodeId id) const;
    [[nodiscard]] std::string pathOf(NodeId id) const;
    void compact();
    [[nodiscard]] std::vector<std::string> changedPaths();

    Tree const& _tree;
    std::string _directory;
    std::function<void()> _wake;
    NodeId _last = noNode;
    bool _isEmpty = true;
    bool _isEverything = false; ///< too much to record, or no memory for it
    std::vector<Touched> _touched;
    std::size_t _compactAt = smallest; ///< how many entries are worth looking for equal ones
    std::vector<std::string> _left;
    std::size_t _leftBytes = 0;
};

} // namespace filesystem
