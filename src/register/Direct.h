// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <typeinfo>

#ifdef VELMORAND_DIRECT_ACCESS
#include <filesystem/Direct.h>
#endif

#include "register/Scopes.h"
#include "utils/properties/Register.h"

/**
 * A fast path to the bytes of a property, which bypasses the file system's virtual operations.
 *
 * Used only for objects whose dynamic type is `_Register`: a derived class may override any of those operations, and
 * must then see every call. It handles only successful cases. All others go through the file system, so that each
 * failure is handled in one place.
 *
 * `VELMORAND_DIRECT_ACCESS` is defined if the file-system library is this project's own, which offers direct access.
 * With any other library everything goes through the virtual operations.
 */
namespace utils::properties::direct {

#ifdef VELMORAND_DIRECT_ACCESS

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

inline Entry find(_Register const&, std::string_view const*, std::string_view const*, std::string_view) {
    return {Kind::none, {}};
}
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

/** The entry that readers find under a name: the one in the first scope that has it. The lock is held. */
inline Entry locate(_Register const& object, std::string const& name) {
    return find(object, lookupDirectories.data(), lookupDirectories.data() + lookupDirectories.size(), name);
}

/**
 * Creates a property with a record of `size` bytes, and its missing groups. The property must not exist. The lock is
 * held.
 * Result: as for `rewrite`; if that fails, groups that were created stay.
 */
inline char* makeProperty(_Register& object, std::string_view name, RegisterScope scope, std::size_t size) {
    std::size_t const slash = name.rfind('/');
    std::string_view const group = name.substr(0, slash == std::string_view::npos ? 0 : slash);
    return make(object, scopeDirectory(scope), group, name, size);
}

} // namespace utils::properties::direct
