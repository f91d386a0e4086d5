// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "Tree.h"

namespace filesystem {

struct Bytes {
    std::unique_ptr<char[]> block;
    std::string_view content; ///< in the block
};

/**
 * The bytes of a directory and all that is below it, or of an empty directory for `noNode`, as one CBOR item
 * (RFC 8949):
 *
 *     55799([1, crc, 24(h'payload')])
 *
 * an array of the format's version, the CRC-32 of the payload's content, and the payload, which is CBOR
 * itself: a directory is a map from text-string names, in ascending byte order, to directories and files, a
 * file is a byte string. Lengths are definite and heads are the shortest there are, so equal trees give equal
 * bytes.
 *
 * The bytes are read again before they are returned. Result: nothing when `decodeTree` would refuse them, because
 * another thread has changed the tree meanwhile, or has left it broken by an earlier change without a lock.
 */
[[nodiscard]] std::optional<Bytes> encodeTree(Tree& tree, NodeId directory);

/** The parts before the payload. */
struct TreeHead {
    std::size_t size; ///< in bytes
    std::uint64_t checksum;
    std::uint64_t payloadSize; ///< in bytes
};

constexpr std::size_t longestTreeHead = 48;

/**
 * Reads the head from the first `longestTreeHead` bytes of a file, or from all of a shorter one.
 * Errors: `NewerFormat`; `utils::Exception` with what is wrong.
 */
[[nodiscard]] TreeHead decodeTreeHead(std::string_view start);

/** Writes what precedes a payload, at most `longestTreeHead` bytes. Result: where it ends. */
char* writeTreeHead(char* target, std::uint32_t checksum, std::size_t payloadSize);

/** Errors: `utils::Exception` if this is not the size and checksum of the payload that a head announces. */
void checkPayload(TreeHead const& head, std::size_t size, std::uint32_t checksum);

/**
 * Reads the payload that follows a head, or what there is of it, into `result`, a directory apart from `tree`, to
 * stand at `path`.
 * Errors: `utils::Exception` with what is wrong, `std::bad_alloc`. Memory stays in proportion to the payload.
 */
void decodeTree(Tree& tree, Tree::Apart& result, TreePath const& path, TreeHead const& head,
                std::string_view payload);

} // namespace filesystem
