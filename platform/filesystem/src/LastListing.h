// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <utility>

#include "Node.h"
#include "filesystem/DirEntry.h"

namespace filesystem {

/**
 * Keeps the listing of one directory that is listed over and over while no entry of the tree comes or goes: a
 * copy of it costs a fraction of making it anew. A directory listed once is only remembered by its number.
 *
 * Listing is `const`, so it may go on in several threads at once; the lock here is for them. It is held for a
 * few instructions, and nothing else is locked under it.
 */
class LastListing {
public:
    /** The entries of `directory` in this `version` of the tree; `list()` makes them unless they are kept. */
    template <class List>
    std::set<DirEntry> get(NodeId directory, std::uint64_t version, List list) {
        Kept const kept = exchange({directory, version, nullptr});
        if (!kept.isFor(directory, version))
            return list();
        auto const entries = kept.entries ? kept.entries : std::make_shared<std::set<DirEntry> const>(list());
        exchange({directory, version, entries});
        return *entries;
    }

private:
    struct Kept {
        NodeId directory = noNode;
        std::uint64_t version = 0;
        std::shared_ptr<std::set<DirEntry> const> entries; ///< null after the first listing

        [[nodiscard]] bool isFor(NodeId wanted, std::uint64_t now) const {
            return directory == wanted && version == now;
        }
    };

    Kept exchange(Kept kept) {
        // Nobody waits here, least of all a forked child for a thread that it does not have.
        std::unique_lock<std::mutex> const lock(_mutex, std::try_to_lock);
        if (!lock.owns_lock())
            return {};
        std::swap(_kept, kept);
        return kept;
    }

    std::mutex _mutex;
    Kept _kept;
};

} // namespace filesystem
