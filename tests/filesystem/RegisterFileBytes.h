// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include <zlib.h>

/** Builds register files with any content, valid or not, byte by byte. */
namespace support {

/** `number` in `width` bytes, most significant first. */
inline std::string bigEndian(std::uint64_t number, int width) {
    std::string bytes;
    for (int shift = 8 * (width - 1); shift >= 0; shift -= 8)
        bytes += static_cast<char>((number >> shift) & 0xFFU);
    return bytes;
}

/** The start of an item: its kind, given as the byte for the number 0, and a number in as few bytes as possible. */
inline std::string head(unsigned kind, std::uint64_t number) {
    if (number < 24)
        return bigEndian(kind + number, 1);
    if (number <= 0xFF)
        return bigEndian(kind + 24, 1) + bigEndian(number, 1);
    if (number <= 0xFFFF)
        return bigEndian(kind + 25, 1) + bigEndian(number, 2);
    return bigEndian(kind + 26, 1) + bigEndian(number, 4);
}

/** A register file around a payload, with the correct checksum and the given version. */
inline std::string registerFile(std::string const& payload, char version = 1) {
    auto const crc = ::crc32_z(0, reinterpret_cast<Bytef const*>(payload.data()), payload.size());
    using namespace std::string_literals;
    return "\xD9\xD9\xF7\x83"s + version + head(0x00, crc) + "\xD8\x18" + head(0x40, payload.size()) +
           payload;
}

inline std::string name(std::string const& text) {
    return head(0x60, text.size()) + text;
}

inline std::string content(std::string const& bytes) {
    return head(0x40, bytes.size()) + bytes;
}

} // namespace support
