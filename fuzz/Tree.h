// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fuzz {

/**
 * A simple tree of directories and files, with which the targets compare the real one. Nodes are numbers, so that no
 * depth overflows the stack. Removed nodes are not released.
 */
class Tree {
public:
    struct Node {
        bool directory = true;
        std::string content;
        std::map<std::string, std::size_t> children; ///< in byte order, as in a register file
    };

    static constexpr std::size_t root = 0;
    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    Node& operator[](std::size_t id) { return _nodes[id]; }
    Node const& operator[](std::size_t id) const { return _nodes[id]; }

    /** Adds an entry to a directory, which must not have the name yet. */
    std::size_t add(std::size_t directory, std::string const& name, bool isDirectory,
                    std::string content = {}) {
        std::size_t const id = _nodes.size();
        _nodes.push_back({isDirectory, std::move(content), {}});
        _nodes[directory].children.emplace(name, id);
        return id;
    }

    [[nodiscard]] std::size_t child(std::size_t id, std::string const& name) const {
        auto const found = _nodes[id].children.find(name);
        return found == _nodes[id].children.end() ? none : found->second;
    }

    [[nodiscard]] std::size_t find(std::vector<std::string> const& levels) const {
        std::size_t id = root;
        for (auto level = levels.begin(); level != levels.end() && id != none; ++level)
            id = child(id, *level);
        return id;
    }

private:
    std::vector<Node> _nodes = std::vector<Node>(1);
};

/** The levels of a path, without empty ones. */
inline std::vector<std::string> levelsOf(std::string_view path) {
    std::vector<std::string> levels;
    while (!path.empty()) {
        std::string_view const level = path.substr(0, path.find('/'));
        if (!level.empty())
            levels.emplace_back(level);
        path.remove_prefix(level.size() < path.size() ? level.size() + 1 : level.size());
    }
    return levels;
}

} // namespace fuzz
