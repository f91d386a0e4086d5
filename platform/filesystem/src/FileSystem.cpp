// SPDX-License-Identifier: Apache-2.0
#include "filesystem/FileSystem.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace filesystem {

namespace {

constexpr int uniqueNames = 1'000'000;

template <std::size_t Size>
using Unsigned =
    std::conditional_t<Size == 1, std::uint8_t, std::conditional_t<Size == 2, std::uint16_t, std::uint32_t>>;

template <class Value>
Value readLittleEndian(FileSystem& fileSystem, FileHandle* handle) {
    unsigned char bytes[sizeof(Value)] = {};
    if (fileSystem.read(handle, bytes, sizeof bytes) != static_cast<long>(sizeof bytes))
        return Value{};
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < sizeof bytes; ++i)
        bits |= std::uint32_t{bytes[i]} << (8 * i);
    auto const narrow = static_cast<Unsigned<sizeof(Value)>>(bits);
    Value value;
    std::memcpy(&value, &narrow, sizeof value);
    return value;
}

template <class Value>
void writeLittleEndian(FileSystem& fileSystem, FileHandle* handle, Value value) {
    Unsigned<sizeof(Value)> narrow;
    std::memcpy(&narrow, &value, sizeof narrow);
    std::uint32_t const bits = narrow;
    unsigned char bytes[sizeof(Value)];
    for (std::size_t i = 0; i < sizeof bytes; ++i)
        bytes[i] = static_cast<unsigned char>((bits >> (8 * i)) & 0xFFU);
    fileSystem.write(handle, bytes, sizeof bytes);
}

/** Reads from a file of unknown size: piece by piece, so that a huge `count` does not take memory that is not needed. */
std::string readPieces(FileSystem& fileSystem, FileHandle* handle, long count) {
    constexpr long largest = 65'536;
    std::string bytes;
    while (count > 0) {
        std::size_t const before = bytes.size();
        long const wanted = std::min(count, largest);
        bytes.resize(before + static_cast<std::size_t>(wanted));
        long const got = fileSystem.read(handle, bytes.data() + before, wanted);
        bytes.resize(before + static_cast<std::size_t>(got));
        count = got == wanted ? count - got : 0;
    }
    return bytes;
}

} // namespace

FileSystem::FileSystem() = default;

FileSystem::~FileSystem() noexcept(false) = default;

long FileSystem::size(FileHandle* handle) {
    long const position = tell(handle);
    if (position < 0 || !seek(handle, 0, ORIGIN_END))
        return -1;
    long const end = tell(handle); // -1 where a `long` has 32 bits and the file is larger
    return seek(handle, end < 0 ? position : std::min(position, end), ORIGIN_BEGIN) ? end : -1;
}

long FileSystem::size(QString const& path) {
    FileHandle* handle = nullptr;
    if (!open(path, &handle, MODE_READ))
        return -1;
    long const bytes = size(handle);
    close(handle);
    return bytes;
}

char FileSystem::readByte(FileHandle* handle) {
    return readLittleEndian<char>(*this, handle);
}

short FileSystem::readShort(FileHandle* handle) {
    return readLittleEndian<short>(*this, handle);
}

int FileSystem::readInt(FileHandle* handle) {
    return readLittleEndian<int>(*this, handle);
}

float FileSystem::readFloat(FileHandle* handle) {
    return readLittleEndian<float>(*this, handle);
}

std::string FileSystem::readBytes(FileHandle* handle, int count) {
    long const end = size(handle);
    if (end < 0)
        return readPieces(*this, handle, count);
    long const left = end - tell(handle);
    std::string bytes(static_cast<std::size_t>(std::max(0L, std::min(left, long{count}))), '\0');
    bytes.resize(static_cast<std::size_t>(read(handle, bytes.data(), static_cast<long>(bytes.size()))));
    return bytes;
}

void FileSystem::skip(FileHandle* handle, int count) {
    long const position = tell(handle);
    long const end = size(handle);
    if (end >= 0)
        seek(handle, position + std::clamp(long{count}, -position, std::max(position, end) - position),
             ORIGIN_BEGIN);
    // The size does not fit into a `long`, so `seek` determines whether the target is inside the file. A position that
    // does not fit either is so large that skipping back by an `int` cannot reach the start.
    else if (!seek(handle, count, ORIGIN_CURRENT))
        seek(handle, 0, count < 0 && position >= 0 ? ORIGIN_BEGIN : ORIGIN_END);
}

void FileSystem::writeByte(FileHandle* handle, char value) {
    writeLittleEndian(*this, handle, value);
}

void FileSystem::writeShort(FileHandle* handle, short value) {
    writeLittleEndian(*this, handle, value);
}

void FileSystem::writeInt(FileHandle* handle, int value) {
    writeLittleEndian(*this, handle, value);
}

void FileSystem::writeFloat(FileHandle* handle, float value) {
    writeLittleEndian(*this, handle, value);
}

QString FileSystem::getUniqueFileName(QString const& directory, QString const& prefix,
                                      QString const& suffix) {
    for (int number = 0; number < uniqueNames; ++number) {
        QString path = directory + QLatin1Char('/') + prefix + QString::number(number) + suffix;
        if (!exists(path))
            return path;
        // Below a link to itself, for example, every name seems to exist, so trying more of them is useless.
        if (number == 0 && !isDirectory(directory))
            break;
    }
    return {};
}

} // namespace filesystem
