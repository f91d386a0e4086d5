// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <typeinfo>

#if __has_include(<filesystem/Direct.h>)
#include <filesystem/Direct.h>
#endif

#include "register/Scopes.h"
#include "utils/properties/Register.h"

/**
 * The short way to a property's bytes, past the file system's virtual operations.
 *
 * It is taken only by an object that is exactly a `_Register`: there nothing can see single calls. A derived
 * class sees every one of them. It serves only what goes well; whatever is out of the ordinary goes the long
 * way, through the file system, so that each failure is dealt with in one place.
 *
 * A file-system library that offers no direct access leaves the long way for everything.
 */
namespace utils::properties::direct {

#if __has_include(<filesystem/Direct.h>)

using filesystem::direct::Entry;
using filesystem::direct::find;
using filesystem::direct::Kind;
using filesystem::direct::make;
using filesystem::direct::makeDirectories;
using filesystem::direct::rewrite;

inline bool isOpen(_Register const& object) {
    return typeid(object) == typeid(_Register);
}

#else

enum class Kind { none, directory, file };

struct Entry {
    Kind kind;
    std::string_view content;
};

inline Entry find(_Register const&, std::initializer_list<std::string_view>, std::string_view) {
    return {Kind::none, {}};
}
inline char* rewrite(_Register&, std::string_view, std::string_view, std::size_t) {
    return nullptr;
}
inline char* make(_Register&, std::string_view, std::string_view, std::string_view, std::size_t) {
    return nullptr;
}
inline bool makeDirectories(_Register&, std::string_view, std::string_view) {
    return false;
}

constexpr bool isOpen(_Register const&) {
    return false;
}

#endif

/** What readers find under a name, in the first scope that holds it. The lock is held. */
inline Entry locate(_Register const& object, std::string const& name) {
    return find(
        object,
        {scopeDirectory(lookupOrder[0]), scopeDirectory(lookupOrder[1]), scopeDirectory(lookupOrder[2])},
        name);
}

/**
 * Gives a property that is not there a record of `size` bytes, and makes the groups around it that are missing.
 * Result: as of `rewrite`, with the groups made. The lock is held.
 */
inline char* makeProperty(_Register& object, std::string_view name, RegisterScope scope, std::size_t size) {
    std::size_t const slash = name.rfind('/');
    std::string_view const group = name.substr(0, slash == std::string_view::npos ? 0 : slash);
    return make(object, scopeDirectory(scope), group, name, size);
}

} // namespace utils::properties::direct
