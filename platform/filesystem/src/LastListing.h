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
 * Caches the listing of one directory until an entry is added to or removed from the tree. Copying a listing is much
 * cheaper than building it again. The first listing is not cached, only the directory's number and the tree's version.
 *
 * Listing is `const`, so several threads may do it at once; a mutex guards the cache. It is held for a few
 * instructions, and no other lock is taken under it.
 */
class LastListing {
public:
    /** The entries of `directory` in this `version` of the tree; builds them with `list()` unless they are cached. */
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
        // Never waits: a forked child could wait forever for a thread that exists only in its parent.
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
