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
    std::vector<NodeId> ids; ///< `noNode` in place of removed nodes, but never at the end
    std::size_t holes = 0;   ///< the number of such places
    bool ordered = true;     ///< in ascending byte order of the names, ignoring holes
};

/**
 * A directory or a file, in one cache line.
 *
 * The text of a file is its name followed by its content. A short text is stored in the node itself, a longer one in a
 * block on the heap that the node owns. A directory has its whole path instead of only its name, if the path is short,
 * so that a path below it can be compared without visiting the directories above it. A directory that is not empty owns
 * a list of its children.
 */
struct alignas(64) Node {
    static constexpr std::uint32_t inlineCapacity = 32;
    /** Of a directory that has its whole path, in bytes. */
    static constexpr std::uint32_t longestPath = inlineCapacity - 1;
    static constexpr std::uint32_t longestName = (1U << 30) - 1;

    /**
     * In bytes, including a file's name. On 32-bit machines an object cannot be larger than the largest
     * `std::ptrdiff_t`.
     */
    static constexpr auto longestText = static_cast<std::uint32_t>(std::min<std::uint64_t>(
        std::numeric_limits<std::uint32_t>::max(), std::numeric_limits<std::ptrdiff_t>::max()));

    NodeId parent;
    std::uint32_t place;      ///< index among the parent's children
    std::uint64_t generation; ///< changes whenever the node with this number is released
    std::uint32_t hash;       ///< hash of the whole path
    std::uint32_t nameLength : 30;
    std::uint32_t directory : 1;
    std::uint32_t onHeap : 1;
    struct File {
        std::uint32_t size;     ///< size of the content
        std::uint32_t capacity; ///< room for the text; `inlineCapacity` if it is stored in the node
    };
    union {
        File file;
        Children* children; ///< of a directory; null if it is empty
    };
    struct Path {
        char text[longestPath]; ///< the whole path, or else only the name
        std::uint8_t end;       ///< 1 + the size of the whole path; 0 if the directory has only its name
    };
    union {
        char inlineText[inlineCapacity]; ///< of a file
        Path path;                       ///< of a directory
        char* heapText;
        NodeId nextReleased[4]; ///< of a released node: the next ones in the list of released nodes
    };

    /** Whether a file can hold a name and a content of these sizes. */
    [[nodiscard]] static constexpr bool fits(std::size_t nameSize, std::size_t contentSize) {
        return nameSize <= longestName && contentSize <= longestText - nameSize;
    }

    [[nodiscard]] char* text() noexcept { return onHeap != 0 ? heapText : inlineText; }
    [[nodiscard]] char const* text() const noexcept { return onHeap != 0 ? heapText : inlineText; }
    [[nodiscard]] std::string_view name() const noexcept {
        // The second condition does not hold only if several threads change a tree without a lock.
        std::size_t const before = hasPath() && nameLength < path.end ? path.end - 1U - nameLength : 0;
        return {text() + before, nameLength};
    }
    [[nodiscard]] char* contentBegin() noexcept { return text() + nameLength; }
    [[nodiscard]] std::string_view content() const noexcept { return {text() + nameLength, file.size}; }

    /** Whether this is a directory that has its whole path. */
    [[nodiscard]] bool hasPath() const noexcept { return directory != 0 && path.end != 0; }

    /** The path from the root, without a leading "/", of a directory that has it. */
    [[nodiscard]] std::string_view wholePath() const noexcept { return {path.text, path.end - 1U}; }

    /**
     * Makes room for at least `contentCapacity` bytes of content, keeping the existing content. If the text must be
     * moved, its room is at least doubled, unless it would become too large.
     * Errors: `std::bad_alloc`, `std::length_error`; nothing has changed.
     */
    void growContent(std::size_t contentCapacity);

    /**
     * Replaces the content of a file with `newSize` bytes, which the caller fills in. A new block has no room for more.
     * Result: the first byte.
     * Errors: `std::bad_alloc`, `std::length_error`; nothing has changed.
     */
    char* replaceContent(std::size_t newSize);

    /** Empties a file and frees its block, unless the name alone needs one. */
    void dropContent() noexcept;

    /**
     * Sets the name of a new file and the size of its content, which the caller fills in.
     * Errors: `std::bad_alloc`, `std::length_error`; nothing has changed.
     */
    void setName(std::string_view name, std::size_t contentSize);

    /**
     * Sets the name of a new directory in the directory `around`.
     * Errors: `std::bad_alloc`, `std::length_error`; nothing has changed.
     */
    void setNameIn(Node const& around, std::string_view name);

    /** Sets the path of a new directory, if it is short. Does not set the length of the name. */
    void setPath(std::string_view first, std::string_view rest) noexcept;

    /** Swaps the texts of two files with the same name. */
    void exchangeText(Node& other) noexcept;

    /** Frees everything that the node owns. */
    void freeAll() noexcept;
};

static_assert(sizeof(Node) == 64, "a node is one cache line");

} // namespace filesystem
