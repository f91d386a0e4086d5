// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace bench {

/**
 * The interface of every measured store. A store is a class in a header of the same name in stores/; it is used
 * without virtual calls. It has
 *
 *     static constexpr char const* label            its name in the tables
 *     Store(std::filesystem::path const& directory, Names const& names)
 *                                                   empty; only `names` will be used
 *     void write(std::string const& name, V const& value)
 *     void read(std::string const& name, V& value)  an existing name
 *         V: int, double, bool, std::string, and std::vector of int and of double
 *     int readOr(std::string const& name, int fallback)
 *     auto list(std::string const& group)           the names in a group, without the group, in the library's
 *                                                   own type
 *     void clear()                                  drops all values in memory but keeps the file; not measured
 *     void save()                                   writes everything to a file in `directory`, in the
 *                                                   library's safest way
 *     void load()                                   reads the file written by `save` into a cleared store
 *
 * and the optional parts that its constants declare. This base class has the defaults of the constants.
 */
struct Store {
    /** void writeNext(names): sets names to `nextScopeValue` in the scope that `read` searches after the first. */
    static constexpr bool hasNextScope = false;

    /** void listen(group, long& calls): counts every later change in the group. */
    static constexpr bool hasListeners = false;

    /** `readOr` may be called with a name that does not exist. */
    static constexpr bool knowsMissing = true;

    /** The bytes that a store uses outside the heap. */
    [[nodiscard]] std::size_t bytesOutsideTheHeap() const { return 0; }
};

/** The value that `writeNext` writes. */
constexpr int nextScopeValue = 7;

template <class... Stores>
struct StoreList {};

} // namespace bench
