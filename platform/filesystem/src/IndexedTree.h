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

/** A valid register file, with an index of the entries in its payload. Immutable. */
struct IndexedTree {
    /** An entry of a directory, or the root. Offsets are in bytes from the beginning of the payload. */
    struct Entry {
        std::uint32_t item = 0;  ///< the offset of the item with the name
        std::uint32_t end = 0;   ///< the offset after the item with the value
        std::uint32_t first = 0; ///< for a directory: index of its first child in `entries`; for a file: 0
        std::uint32_t count = 0; ///< for a directory: the number of its children

        [[nodiscard]] bool isDirectory() const { return first != 0; }
    };

    /**
     * Reads the content of a register file. Bytes after the tree are ignored. Parts that are the same in `similar`,
     * which may be null, are not examined again.
     * Errors: those of `TreeImage`'s constructor.
     */
    static std::shared_ptr<IndexedTree const> ofFile(std::shared_ptr<void const> owner,
                                                     std::string_view bytes, IndexedTree const* similar);

    /**
     * The same for a payload alone, with the same checks. `owner` must also own the `longestTreeHead` bytes before the
     * payload, into which the head is written.
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

    /** The entry at a path; null if it does not exist. */
    [[nodiscard]] Entry const* find(std::string_view path) const;

    std::shared_ptr<void const> owner; ///< owns the bytes
    std::string_view bytes;            ///< the whole register file
    std::string_view payload;          ///< the part that holds the tree
    PieceChecksums checksums;          ///< of the payload

    /**
     * The root comes first. The children of a directory are adjacent and sorted by name; then follow the contents of
     * those children that are directories, in the same order.
     */
    std::vector<Entry> entries;
    bool isInOrder = true; ///< whether the children in the payload are sorted as well
};

} // namespace filesystem
