// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include <utils/properties/Register.h>

#include "Check.h"
#include "Files.h"

namespace fuzz {

using utils::properties::_Register;
using utils::properties::RegisterScope;
using utils::properties::SCOPE_GLOBAL;
using utils::properties::SCOPE_TEMPORARY;
using utils::properties::SCOPE_USER;

constexpr RegisterScope scopes[] = {SCOPE_GLOBAL, SCOPE_USER, SCOPE_TEMPORARY};

/** A derived register: each of its operations goes the long way, through the file system's virtual ones. */
class Derived : public _Register {
public:
    using _Register::_changedProperties;
    using _Register::_UserRegisterPath;

    Derived() = default;
};

/** The register of the process, with its three scopes empty. Its paths are: it stays off the disk. */
inline _Register& emptied() {
    _Register& settings = *_Register::getInstance();
    for (RegisterScope const scope : scopes) {
        settings.delProperty("", scope);
        settings.addGroup("", scope);
    }
    return settings;
}

/** Puts bytes into a property's file, as an application may that opens one. */
inline void store(_Register& settings, std::string const& name, RegisterScope scope,
                  std::string_view content) {
    FileHandle* const handle = settings.openProperty(name, _Register::MODE_WRITE, scope);
    auto const size = static_cast<long>(content.size());
    check(settings.write(handle, content.data(), size) == size, "everything is written");
    settings.closeProperty(*handle);
}

/**
 * A record whose list, if it is one, claims few elements. What a list claims is what it has, missing ones
 * read as zero: nothing to be learned from more of them.
 */
inline std::string modestRecord(std::string_view bytes) {
    constexpr unsigned most = 2'000;
    std::string record(bytes);
    if (record.size() < 6 || record[0] != 'L')
        return record;
    auto const at = [&](std::size_t i) { return static_cast<unsigned char>(record[i]); };
    unsigned const count = at(2) | unsigned{at(3)} << 8U | unsigned{at(4)} << 16U;
    if (at(5) >= 0x80 || (at(5) == 0 && count <= most))
        return record; // negative, or modest
    unsigned const claimed = count % most;
    record[2] = static_cast<char>(claimed & 0xFFU);
    record[3] = static_cast<char>(claimed >> 8U);
    record[4] = record[5] = '\0';
    return record;
}

} // namespace fuzz
