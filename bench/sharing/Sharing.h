// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>

#include "Names.h"

namespace bench::sharing {

/** Called in a listening process: first with `ready` once it listens, then with each value it is notified of. */
using Heard = std::function<void(int value)>;
constexpr int ready = -1;

/**
 * The interface of every way to share settings between processes: a class in a header of the same name in sharing/. It
 * has
 *
 *     static constexpr char const* label
 *     Class(std::filesystem::path const& directory, Names const& names)
 *         with all names saved in the directory, as by `writeAll`
 *     void save(std::string const& name, int value)
 *         returns when the value is durable and visible to other processes
 *
 * and, if processes are notified of each other's changes,
 *
 *     static constexpr bool isHeard = true
 *     static void hear(directory, std::string const& name, Heard const& heard)
 *         listens to one integer, until the process is killed
 */
struct Sharing {
    static constexpr bool isHeard = false;
};

/** Half of the settings are integers, the others short strings. */
inline bool isInteger(std::size_t place) {
    return place % 2 == 0;
}
inline std::string textOf(std::size_t place) {
    return "value " + std::to_string(place);
}

/** Calls `write(name, value)` for each setting, with an integer or a string. */
template <class Write>
void writeAll(Names const& names, Write const& write) {
    for (std::size_t i = 0; i < names.ordered().size(); ++i)
        if (isInteger(i))
            write(names.ordered()[i], 0);
        else
            write(names.ordered()[i], textOf(i));
}

template <class... Ways>
struct List {};

} // namespace bench::sharing
