// SPDX-License-Identifier: Apache-2.0
#include "Checksum.h"

#include <zlib.h>

namespace filesystem {

namespace {

/** Small enough for a checksum to take only microseconds, large enough for a file to have only a few pieces. */
constexpr std::size_t pieceSize = 8'192;

} // namespace

std::uint32_t checksumOf(std::string_view bytes) {
    return static_cast<std::uint32_t>(
        ::crc32_z(0, reinterpret_cast<Bytef const*>(bytes.data()), bytes.size()));
}

PieceChecksums::PieceChecksums(std::string_view bytes, PieceChecksums const& similar, std::size_t prefix,
                               std::size_t suffix) {
    auto const& others = similar._pieces;
    std::size_t front = 0;
    std::size_t back = others.size();
    std::size_t begin = 0;
    while (front != back && others[front].size <= prefix - begin)
        begin += others[front++].size;
    std::size_t end = bytes.size();
    while (front != back && others[back - 1].size <= suffix - (bytes.size() - end))
        end -= others[--back].size;

    auto const place = [&others](std::size_t index) {
        return others.begin() + static_cast<std::ptrdiff_t>(index);
    };
    _pieces.assign(others.begin(), place(front));
    while (begin != end) {
        // The last piece takes the rest, so that repeated changes do not split pieces into ever smaller ones.
        std::size_t const size = end - begin < 2 * pieceSize ? end - begin : pieceSize;
        _pieces.push_back({size, checksumOf(bytes.substr(begin, size))});
        begin += size;
    }
    _pieces.insert(_pieces.end(), place(back), others.end());
}

std::uint32_t PieceChecksums::whole() const {
    unsigned long checksum = 0;
    for (Piece const& piece : _pieces)
        checksum = ::crc32_combine(checksum, piece.checksum, static_cast<z_off_t>(piece.size));
    return static_cast<std::uint32_t>(checksum);
}

} // namespace filesystem
