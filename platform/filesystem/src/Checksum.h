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
 * The CRC-32 of a sequence of bytes, kept as those of its pieces, so that for a similar sequence only the pieces that
 * differ are computed.
 */
class PieceChecksums {
public:
    /** For no bytes. */
    PieceChecksums() = default;

    /** For bytes that share their first `prefix` and their last `suffix` bytes with those of `similar`. */
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
