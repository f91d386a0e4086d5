// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
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
 */
[[nodiscard]] Bytes encodeTree(Tree& tree, NodeId directory);

/**
 * Reads the item that `data` starts with into `result`, a directory apart from `tree`, to stand at `path`.
 * Result: the size of the item in bytes; `data` may go on behind it.
 * Errors: `utils::Exception` with what is wrong, `std::bad_alloc`. Memory stays in proportion to the size of
 * `data`.
 */
std::size_t decodeTree(Tree& tree, Tree::Apart& result, TreePath const& path, std::string_view data);

/** What is around a payload in a register file. */
struct Envelope {
    std::string_view payload;
    std::size_t size; ///< of the whole item
};

/** Errors: as `decodeTree`, as far as they are of the envelope; `NewerFormat`. */
[[nodiscard]] Envelope readEnvelope(std::string_view data);

constexpr std::size_t longestEnvelope = 3 + 5 * 9;

/** Writes what stands before a payload, at most `longestEnvelope` bytes. Result: where it ends. */
char* writeEnvelope(char* target, std::string_view payload);

} // namespace filesystem
