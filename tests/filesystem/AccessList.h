// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <sys/xattr.h>

#include "DiskSupport.h"

namespace support {

inline constexpr char const* accessListName = "system.posix_acl_access";
inline constexpr char const* defaultListName = "system.posix_acl_default";

/** An extended attribute of the file at `path`, if it has this attribute. */
inline std::optional<std::string> attribute(std::string const& path, std::string const& name) {
    std::string value(1 << 16, '\0');
    auto const size = ::lgetxattr(path.c_str(), name.c_str(), value.data(), value.size());
    if (size < 0)
        return std::nullopt;
    value.resize(static_cast<std::size_t>(size));
    return value;
}

/** Sets an extended attribute. False if the file system does not support such attributes or is full. */
inline bool setAttribute(std::string const& path, std::string const& name, std::string const& value) {
    return ::lsetxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0) == 0;
}

/** A POSIX access control list, as Linux stores it in an extended attribute. */
class AccessList {
public:
    /** The rights of the owner, the group and all others, and the mask, which limits the rights of named users. */
    AccessList(unsigned owner, unsigned group, unsigned others, unsigned mask)
        : _owner(owner), _group(group), _others(others), _mask(mask) {}

    AccessList& withUser(unsigned user, unsigned rights) {
        _users += entry(0x02, rights, user);
        return *this;
    }

    [[nodiscard]] std::string bytes() const {
        constexpr unsigned nobody = ~0U;
        return number(2, 4) + entry(0x01, _owner, nobody) + _users + entry(0x04, _group, nobody) +
               entry(0x10, _mask, nobody) + entry(0x20, _others, nobody);
    }

private:
    /** Little-endian. */
    static std::string number(unsigned value, int width) {
        std::string bytes;
        for (int i = 0; i < width; ++i)
            bytes += static_cast<char>((value >> (8 * i)) & 0xFFU);
        return bytes;
    }

    static std::string entry(unsigned tag, unsigned rights, unsigned id) {
        return number(tag, 2) + number(rights, 2) + number(id, 4);
    }

    unsigned _owner;
    unsigned _group;
    unsigned _others;
    unsigned _mask;
    std::string _users;
};

/** Only the owner and the user 1234 may read and write. The mode is 0660. */
inline std::string listForOneUser() {
    return AccessList(6, 0, 0, 6).withUser(1234, 6).bytes();
}

/** Whether files in a directory can have access control lists. */
inline bool hasAccessLists(std::string const& directory) {
    std::string const path = directory + "/with-list";
    putFile(path, "");
    bool const has = setAttribute(path, accessListName, listForOneUser());
    std::filesystem::remove(path);
    return has;
}

/** A directory for tests of access control lists, on a file system that supports them if there is one. */
inline std::filesystem::path parentWithAccessLists() {
    std::filesystem::path usual = std::filesystem::temp_directory_path();
    for (std::filesystem::path const& parent :
         {usual, std::filesystem::path("/dev/shm"), std::filesystem::path("/var/tmp")}) {
        std::error_code missing;
        if (std::filesystem::is_directory(parent, missing) &&
            hasAccessLists(TemporaryDirectory(parent).string()))
            return parent;
    }
    return usual;
}

} // namespace support
