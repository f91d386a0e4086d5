// SPDX-License-Identifier: Apache-2.0
#include "Journal.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "Tree.h"
#include "filesystem/ChangeLog.h"

namespace filesystem {

Journal::Journal(Tree const& tree, std::string directory, std::function<void()> wake)
    : _tree(tree), _directory(std::move(directory)), _wake(std::move(wake)) {}

void Journal::record(NodeId id) noexcept {
    try {
        add(id);
    } catch (...) { // out of memory
        _isEverything = true;
        begin();
    }
}

void Journal::add(NodeId id) {
    // Changes outside the directory must not call `_wake`. After the first change inside, they are recorded as well,
    // and `take` filters them out.
    if (_isEverything || (_isEmpty && !isInside(id)))
        return;
    std::size_t const word = id / wordBits;
    if (word >= _recorded.size()) {
        _recorded.resize(std::max(word + 1, 2 * _recorded.size()));
        _recordedBits = _recorded.size() * wordBits;
    }
    _touched.push_back({id, _tree[id].generation});
    _recorded[word] |= std::uint64_t{1} << (id % wordBits);
    begin();
}

void Journal::begin() noexcept {
    if (std::exchange(_isEmpty, false))
        _wake();
}

void Journal::leave(NodeId id) noexcept {
    if (_isEverything)
        return;
    try {
        if (!isInside(id))
            return;
        _left.push_back(pathOf(id));
        _leftBytes += sizeof(std::string) + _left.back().size();
        _isEverything = _leftBytes > mostBytes;
    } catch (...) { // out of memory
        _isEverything = true;
    }
    begin();
}

/** Whether a node is the directory or below it. */
bool Journal::isInside(NodeId id) const {
    while (id != Tree::root && _tree[id].parent != Tree::root)
        id = _tree[id].parent;
    return id != Tree::root && _tree[id].name() == _directory;
}

/** The path of a node, relative to the directory. */
std::string Journal::pathOf(NodeId id) const {
    std::vector<std::string_view> names;
    for (; _tree[id].parent != Tree::root; id = _tree[id].parent)
        names.push_back(_tree[id].name());
    std::string path;
    for (auto name = names.rbegin(); name != names.rend(); ++name)
        path.append(path.empty() ? "" : "/").append(*name);
    return path;
}

std::vector<std::string> Journal::take() {
    std::vector<std::string> result;
    try {
        result = changedPaths();
    } catch (...) { // out of memory: only the details are lost
        _isEverything = true;
        throw;
    }
    for (Touched const touched : _touched)
        _recorded[touched.node / wordBits] = 0;
    _isEmpty = true;
    _isEverything = false;
    _touched.clear();
    _left.clear();
    _leftBytes = 0;
    return result;
}

std::vector<std::string> Journal::changedPaths() {
    if (_isEverything)
        return {std::string()};
    std::vector<std::string> paths = _left;
    std::size_t bytes = 0;
    for (Touched const touched : _touched) {
        // Skips nodes outside the directory, and removed nodes, whose paths are in `_left`.
        if (_tree[touched.node].generation != touched.generation || !isInside(touched.node))
            continue;
        paths.push_back(pathOf(touched.node));
        bytes += paths.back().size();
        if (bytes > mostBytes)
            return {std::string()};
    }
    return ChangeLog::outermost(std::move(paths));
}

} // namespace filesystem
