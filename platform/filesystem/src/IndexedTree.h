// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "CborItems.h"
#include "Checksum.h"

namespace filesystem {

/** A register file, checked, with an index of the entries in its payload. It never changes once it is made. */
struct IndexedTree {
    /** A directory's entry, or the tree itself. Places are counted in bytes from the beginning of the payload. */
    struct Entry {
        std::uint32_t item = 0;  ///< where the name's item begins
        std::uint32_t end = 0;   ///< where the value's item ends
        std::uint32_t first = 0; ///< of a directory: its first child in `entries`; of a file: 0
        std::uint32_t count = 0; ///< of a directory: its children

        [[nodiscard]] bool isDirectory() const { return first != 0; }
    };

    /**
     * Takes the content of a register file and drops what follows the tree.
     * What it has in common with `similar`, which may be null, is not examined again.
     * Errors: as from `TreeImage`'s constructor.
     */
    static std::shared_ptr<IndexedTree const> ofFile(std::shared_ptr<void const> owner,
                                                     std::string_view bytes, IndexedTree const* similar);

    /**
     * The same for a payload alone, which is checked as that of a file. `longestTreeHead` bytes before it belong to
     * `owner` too and are overwritten.
     */
    static std::shared_ptr<IndexedTree const> ofPayload(std::shared_ptr<void const> owner, char* payload,
                                                        std::size_t size, IndexedTree const& similar);

    [[nodiscard]] std::string_view nameOf(Entry const& entry) const {
        return Scanner(payload.substr(entry.item)).next().content;
    }

    /** The content of a file. */
    [[nodiscard]] std::string_view contentOf(Entry const& file) const {
        Scanner scanner(payload.substr(file.item));
        scanner.next();
        return scanner.next().content;
    }

    [[nodiscard]] Entry const& root() const { return entries.front(); }

    /** Result: null if there is nothing at the path. */
    [[nodiscard]] Entry const* find(std::string_view path) const;

    std::shared_ptr<void const> owner; ///< keeps the bytes
    std::string_view bytes;            ///< the whole register file
    std::string_view payload;          ///< the part of it that holds the tree
    PieceChecksums checksums;          ///< of the payload

    /**
     * The root first; the children of a directory side by side, in the order of their names. The children of a
     * directory are followed by those of the directories among them, one after the other, each with all below it.
     */
    std::vector<Entry> entries;
    bool isInOrder = true; ///< whether all children lie in the payload in that order too
};

} // namespace filesystem
