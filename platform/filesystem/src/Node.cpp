// SPDX-License-Identifier: Apache-2.0
#include "Node.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

#include "Words.h"

namespace filesystem {

namespace {

std::uint32_t checkedLength(std::size_t length) {
    if (length > Node::longestText)
        throw std::length_error("too large for a file in memory");
    return static_cast<std::uint32_t>(length);
}

void checkName(std::string_view name) {
    if (name.size() > Node::longestName)
        throw std::length_error("a name in memory must be shorter than 1 GiB");
}

/** Moves the first `keep` bytes of a file's text into a new block. */
void moveToHeap(Node& node, std::uint32_t capacity, std::size_t keep) {
    char* const block = new char[capacity];
    std::memcpy(block, node.text(), keep);
    if (node.onHeap != 0)
        delete[] node.heapText;
    node.heapText = block;
    node.onHeap = 1;
    node.file.capacity = capacity;
}

} // namespace

void Node::growContent(std::size_t contentCapacity) {
    std::uint32_t const needed = checkedLength(nameLength + contentCapacity);
    if (needed <= file.capacity)
        return;
    std::uint32_t const doubled =
        file.capacity > Node::longestText / 2 ? needed : std::max(needed, 2 * file.capacity);
    moveToHeap(*this, doubled, nameLength + file.size);
}

char* Node::replaceContent(std::size_t newSize) {
    std::uint32_t const needed = checkedLength(nameLength + newSize);
    if (needed <= inlineCapacity) {
        if (onHeap != 0)
            dropContent();
    } else if (needed > file.capacity || needed < file.capacity / 2) {
        moveToHeap(*this, needed, nameLength);
    }
    file.size = needed - nameLength;
    return contentBegin();
}

void Node::dropContent() noexcept {
    file.size = 0;
    if (onHeap == 0 || nameLength > inlineCapacity)
        return;
    char* const block = heapText;
    std::memcpy(inlineText, block, nameLength);
    delete[] block;
    onHeap = 0;
    file.capacity = inlineCapacity;
}

void Node::setName(std::string_view name, std::size_t contentSize) {
    checkName(name);
    std::uint32_t const length = checkedLength(name.size() + contentSize);
    if (length > inlineCapacity) {
        heapText = new char[length];
        onHeap = 1;
    }
    nameLength = static_cast<std::uint32_t>(name.size()) & longestName;
    copyBytes(text(), name.data(), name.size());
    file.size = length - nameLength;
    file.capacity = std::max(length, inlineCapacity);
}

void Node::setNameIn(Node const& around, std::string_view name) {
    checkName(name);
    if (name.size() > longestPath) {
        heapText = new char[name.size()];
        onHeap = 1;
        std::memcpy(heapText, name.data(), name.size());
    } else {
        if (around.hasPath())
            setPath(around.wholePath(), name);
        if (!hasPath())
            copyBytes(path.text, name.data(), name.size());
    }
    nameLength = static_cast<std::uint32_t>(name.size()) & longestName;
}

void Node::setPath(std::string_view first, std::string_view rest) noexcept {
    bool const isJoined = !first.empty() && !rest.empty();
    std::size_t const size = first.size() + (isJoined ? 1 : 0) + rest.size();
    if (size > longestPath)
        return;
    copyBytes(path.text, first.data(), first.size());
    if (isJoined)
        path.text[first.size()] = '/';
    copyBytes(path.text + size - rest.size(), rest.data(), rest.size());
    path.end = static_cast<std::uint8_t>(size + 1);
}

void Node::exchangeText(Node& other) noexcept {
    bool const wasOnHeap = onHeap != 0;
    onHeap = other.onHeap;
    other.onHeap = wasOnHeap ? 1 : 0;
    std::swap(file, other.file);
    std::swap(inlineText, other.inlineText); // also swaps `heapText`
}

void Node::freeAll() noexcept {
    if (onHeap != 0)
        delete[] heapText;
    if (directory != 0)
        delete children;
}

} // namespace filesystem
