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

/** A derived register, which does not use fast paths but the file system's virtual functions. */
class Derived : public _Register {
public:
    using _Register::_changedProperties;
    using _Register::_UserRegisterPath;

    Derived() = default;
};

/** The register of the process, with its three scopes emptied. Its paths are empty too, so it does not use the disk. */
inline _Register& emptied() {
    _Register& settings = *_Register::getInstance();
    for (RegisterScope const scope : scopes) {
        settings.delProperty("", scope);
        settings.addGroup("", scope);
    }
    return settings;
}

/** Writes bytes to a property's file, as an application may. */
inline void store(_Register& settings, std::string const& name, RegisterScope scope,
                  std::string_view content) {
    FileHandle* const handle = settings.openProperty(name, _Register::MODE_WRITE, scope);
    auto const size = static_cast<long>(content.size());
    check(settings.write(handle, content.data(), size) == size, "everything is written");
    settings.closeProperty(*handle);
}

/**
 * A record, changed so that a list claims few elements. Missing elements are read as zero, so claiming more of them
 * would test nothing new.
 */
inline std::string modestRecord(std::string_view bytes) {
    constexpr unsigned most = 2'000;
    std::string record(bytes);
    if (record.size() < 6 || record[0] != 'L')
        return record;
    auto const at = [&](std::size_t i) { return static_cast<unsigned char>(record[i]); };
    unsigned const count = at(2) | unsigned{at(3)} << 8U | unsigned{at(4)} << 16U;
    if (at(5) >= 0x80 || (at(5) == 0 && count <= most))
        return record; // negative or small
    unsigned const claimed = count % most;
    record[2] = static_cast<char>(claimed & 0xFFU);
    record[3] = static_cast<char>(claimed >> 8U);
    record[4] = record[5] = '\0';
    return record;
}

} // namespace fuzz
