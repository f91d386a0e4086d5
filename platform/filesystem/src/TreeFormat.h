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
 * Encodes a directory and everything below it, or an empty directory for `noNode`, as one CBOR item (RFC 8949):
 *
 *     55799([1, crc, 24(h'payload')])
 *
 * an array of the format version, the CRC-32 of the payload's content, and the payload, which is itself CBOR: a
 * directory is a map from names, which are text strings in ascending byte order, to directories and files; a file is a
 * byte string. Lengths are definite and heads are as short as possible, so equal trees give equal bytes.
 *
 * Result: nothing if a name is invalid, too long, or not in ascending order. This happens if another thread changes the
 * tree without a lock meanwhile, or has corrupted it earlier in this way.
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
 * Errors: `NewerFormat`; `utils::Exception` with the reason.
 */
[[nodiscard]] TreeHead decodeTreeHead(std::string_view start);

/** Writes the parts before the payload, at most `longestTreeHead` bytes. Result: their end. */
char* writeTreeHead(char* target, std::uint32_t checksum, std::size_t payloadSize);

/** Errors: `utils::Exception` if the size or the checksum of the payload differs from the head. */
void checkPayload(TreeHead const& head, std::size_t size, std::uint32_t checksum);

/**
 * Decodes the payload into `result`, which the caller will put into `tree` at `path`. A truncated payload is refused.
 * Errors: `utils::Exception` with the reason, `std::bad_alloc`. Memory use is in proportion to the payload.
 */
void decodeTree(Tree& tree, Tree::Apart& result, TreePath const& path, TreeHead const& head,
                std::string_view payload);

} // namespace filesystem
