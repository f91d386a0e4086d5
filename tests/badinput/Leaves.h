// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <QString>

#include <filesystem/RAMFileSystem.h>

namespace badinput {

/**
 * The files of a tree by path, with their contents, and its empty directories, with a trailing "/". They are
 * taken from the output of `serialize`, because the paths in a tree can be too long to walk in reasonable time.
 */
using Leaves = std::map<std::string, std::string>;

/** Reads the items of a register file one by one. The file comes from memory, so it is valid. */
class Items {
public:
    explicit Items(std::string_view bytes) : _left(bytes) {}

    struct Head {
        unsigned kind;
        std::size_t number;
    };

    Head head() {
        unsigned const first = static_cast<unsigned char>(take(1).front());
        std::size_t number = first & 31U;
        if (number >= 24) {
            std::size_t const size = std::size_t{1} << (number - 24);
            number = 0;
            for (char const byte : take(size))
                number = (number << 8U) | static_cast<unsigned char>(byte);
        }
        return {first >> 5U, number};
    }

    std::string_view take(std::size_t size) {
        if (size > _left.size())
            throw std::runtime_error("truncated tree");
        std::string_view const taken = _left.substr(0, size);
        _left.remove_prefix(size);
        return taken;
    }

private:
    std::string_view _left;
};

inline Leaves leaves(std::string_view registerFile) {
    constexpr unsigned map = 5;
    Items items(registerFile);
    for (int before = 0; before < 6; ++before)
        items.head(); // tag, array, version, checksum, tag, and the head of the payload's bytes
    Leaves result;
    struct Directory {
        std::size_t left;
        std::size_t pathSize;
    };
    std::string path;
    std::vector<Directory> open = {{items.head().number, 0}};
    while (!open.empty()) {
        path.resize(open.back().pathSize);
        if (open.back().left == 0) {
            open.pop_back();
            continue;
        }
        --open.back().left;
        path += '/';
        path += items.take(items.head().number);
        Items::Head const value = items.head();
        if (value.kind != map)
            result[path] = items.take(value.number);
        else if (value.number == 0)
            result[path + '/'] = "";
        else
            open.push_back({value.number, path.size()});
    }
    return result;
}

/** A whole tree, as `serialize` writes it. */
inline std::string serialized(filesystem::RAMFileSystem const& tree) {
    filesystem::RAMFileSystem other;
    filesystem::FileHandle* handle = nullptr;
    other.open(QStringLiteral("/tree"), &handle, filesystem::FileSystem::MODE_WRITE);
    if (!tree.serialize(QStringLiteral("/"), *handle))
        throw std::runtime_error("cannot write a tree");
    other.close(handle);
    other.open(QStringLiteral("/tree"), &handle, filesystem::FileSystem::MODE_READ);
    std::string bytes(static_cast<std::size_t>(other.size(handle)), '\0');
    other.read(handle, bytes.data(), static_cast<long>(bytes.size()));
    return bytes;
}

/** Replaces a tree with the one in `bytes`. */
inline void restore(filesystem::RAMFileSystem& tree, std::string const& bytes) {
    filesystem::RAMFileSystem other;
    filesystem::FileHandle* handle = nullptr;
    other.open(QStringLiteral("/tree"), &handle, filesystem::FileSystem::MODE_WRITE);
    other.write(handle, bytes.data(), static_cast<long>(bytes.size()));
    other.close(handle);
    other.open(QStringLiteral("/tree"), &handle, filesystem::FileSystem::MODE_READ);
    tree.unserialize(QStringLiteral("/"), *handle);
}

} // namespace badinput
