// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace bench {

/**
 * What every store under measurement looks like: one header in stores/, one class of its file's name, called
 * without virtual calls. It has
 *
 *     static constexpr char const* label            its name in the tables
 *     Store(std::filesystem::path const& directory, Names const& names)
 *                                                   empty; `names` is what it may be asked for
 *     void write(std::string const& name, V const& value)
 *     void read(std::string const& name, V& value)  a name that is there
 *         V: int, double, bool, std::string, and std::vector of int and of double
 *     int readOr(std::string const& name, int fallback)
 *     auto list(std::string const& group)           the bare names in a group, in the library's own form
 *     void clear()                                  drops all values in memory, and leaves the file; not
 *                                                   measured
 *     void save()                                   writes all to a file in `directory`, by the safest way
 *                                                   the library has
 *     void load()                                   reads what `save` wrote into a cleared store
 *
 * and what its constants say it has: the base gives their defaults.
 */
struct Store {
    /**
     * void writeNext(names): gives names the value `nextScopeValue` in the scope that `read` turns to when
     * the first lacks them.
     */
    static constexpr bool hasNextScope = false;

    /** void listen(group, long& calls): counts every further change in the group. */
    static constexpr bool hasListeners = false;

    /** `readOr` can be asked for a name that is not there. */
    static constexpr bool knowsMissing = true;

    /** Bytes that a store holds outside the heap. */
    [[nodiscard]] std::size_t bytesOutsideTheHeap() const { return 0; }
};

/** What `writeNext` writes. */
constexpr int nextScopeValue = 7;

template <class... Stores>
struct StoreList {};

} // namespace bench
