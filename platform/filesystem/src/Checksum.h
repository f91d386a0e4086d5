// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace filesystem {

/** The CRC-32 of a sequence of bytes. */
[[nodiscard]] std::uint32_t checksumOf(std::string_view bytes);

/**
 * The CRC-32 of a sequence of bytes, stored as the checksums of its pieces. For a similar sequence, only the pieces
 * that differ must be computed.
 */
class PieceChecksums {
public:
    /** The checksum of an empty sequence. */
    PieceChecksums() = default;

    /** The first `prefix` and the last `suffix` bytes must equal those of the sequence of `similar`. */
    PieceChecksums(std::string_view bytes, PieceChecksums const& similar, std::size_t prefix,
                   std::size_t suffix);

    /** The CRC-32 of all bytes. */
    [[nodiscard]] std::uint32_t whole() const;

private:
    struct Piece {
        std::size_t size;
        std::uint32_t checksum;
    };

    std::vector<Piece> _pieces;
};

} // namespace filesystem
