// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>
#include <vector>

namespace filesystem {

/** A node's number in its pool. */
using NodeId = std::uint32_t;

constexpr NodeId noNode = 0;

/** The nodes in a directory. */
struct Children {
    std::vector<NodeId> ids; ///< `noNode` where one has been taken out, but never at the end
    std::size_t holes = 0;   ///< how many such places there are
    bool ordered = true;     ///< by the names' bytes, ascending
};

/**
 * A directory or a file: one cache line.
 *
 * Its text, the name with a file's content right behind it, stands in the node itself while it is short, else
 * in one block on the heap that the node owns. A directory that is not empty owns a list of its children.
 */
struct alignas(64) Node {
    static constexpr std::uint32_t inlineCapacity = 32;
    static constexpr std::uint32_t longestName = (1U << 30) - 1;

    /** In bytes, a file's name included. On machines of 32 bits no object is larger than a `std::ptrdiff_t` can say. */
    static constexpr auto longestText = static_cast<std::uint32_t>(std::min<std::uint64_t>(
        std::numeric_limits<std::uint32_t>::max(), std::numeric_limits<std::ptrdiff_t>::max()));

    NodeId parent;
    std::uint32_t place;      ///< among the parent's children
    std::uint64_t generation; ///< of this place in the pool: another one when the node here has been released
    std::uint32_t hash;       ///< of the whole path
    std::uint32_t nameLength : 30;
    std::uint32_t directory : 1;
    std::uint32_t onHeap : 1;
    struct File {
        std::uint32_t size;     ///< of the content
        std::uint32_t capacity; ///< of the text, `inlineCapacity` while it stands in the node
    };
    union {
        File file;
        Children* children; ///< of a directory, null when there are none
    };
    union {
        char inlineText[inlineCapacity];
        char* heapText;
        NodeId nextReleased[4]; ///< of a released node: those to be used again after it, in their order
    };

    /** Whether a file can hold a name and a content of these sizes. */
    [[nodiscard]] static constexpr bool fits(std::size_t nameSize, std::size_t contentSize) {
        return nameSize <= longestName && contentSize <= longestText - nameSize;
    }

    [[nodiscard]] char* text() noexcept { return onHeap != 0 ? heapText : inlineText; }
    [[nodiscard]] char const* text() const noexcept { return onHeap != 0 ? heapText : inlineText; }
    [[nodiscard]] std::string_view name() const noexcept { return {text(), nameLength}; }
    [[nodiscard]] std::string_view content() const noexcept { return {text() + nameLength, file.size}; }

    /**
     * Makes room for a content of `contentCapacity` bytes, at least, keeping what is there; not less than
     * twice the room there was, if it has to move.
     * Errors: `std::bad_alloc`, `std::length_error`; nothing has changed.
     */
    void growContent(std::size_t contentCapacity);

    /**
     * Gives a file `newSize` bytes of content, to be filled by the caller, in no more room than they need.
     * Result: the first of them.
     * Errors: `std::bad_alloc`, `std::length_error`; nothing has changed.
     */
    char* replaceContent(std::size_t newSize);

    /** Empties a file and gives its room back, unless its name needs a block on the heap anyway. */
    void dropContent() noexcept;

    /**
     * Sets the name of a new node, whose `directory` is set, and the content of a new file.
     * Errors: `std::bad_alloc`, `std::length_error`; nothing has changed.
     */
    void setText(std::string_view name, std::string_view content);

    /** Gives two files of the same name each other's text. */
    void exchangeText(Node& other) noexcept;

    /** Gives back what the node owns. */
    void freeAll() noexcept;
};

static_assert(sizeof(Node) == 64, "a node is one cache line");

} // namespace filesystem
