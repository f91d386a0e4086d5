// SPDX-License-Identifier: Apache-2.0
#include "Attributes.h"

#include <optional>
#include <string>
#include <string_view>

#include <linux/limits.h>
#include <sys/xattr.h>

#include "Descriptor.h"

namespace filesystem {

namespace {

constexpr char const* accessList = "system.posix_acl_access";

/** Whether the last system call failed because the file lacks the attribute, or its file system has no attributes. */
bool isMissing() {
    return errno == ENODATA || errno == ENOTSUP;
}

/**
 * Calls `read(target, room)` with a small buffer and, if that is too small, again with one of `most` bytes.
 * Result: the bytes read; nothing on failure.
 */
template <class Read>
std::optional<std::string> readWhole(Read const& read, std::size_t most) {
    constexpr std::size_t usual = 512;
    std::string bytes(usual, '\0');
    auto size = retried([&] { return read(bytes.data(), bytes.size()); });
    if (size < 0 && errno == ERANGE) {
        bytes.resize(most);
        size = retried([&] { return read(bytes.data(), bytes.size()); });
    }
    if (size < 0)
        return std::nullopt;
    bytes.resize(static_cast<std::size_t>(size));
    return bytes;
}

std::optional<std::string> valueOf(int file, char const* name) {
    return readWhole([=](char* target, std::size_t room) { return ::fgetxattr(file, name, target, room); },
                     XATTR_SIZE_MAX);
}

bool isSet(int file, char const* name, std::string const& value) {
    return retried([&] { return ::fsetxattr(file, name, value.data(), value.size(), 0); }) == 0;
}

/** The names of a file's attributes, each followed by a NUL; empty if the system does not list them. */
std::string attributeNames(int file) {
    return readWhole([=](char* target, std::size_t room) { return ::flistxattr(file, target, room); },
                     XATTR_LIST_MAX)
        .value_or(std::string());
}

bool isComputed(std::string_view name) {
    return name == "security.ima" || name == "security.evm";
}

/** Whether an attribute may be an access control list: a POSIX list, or another kind such as an NFSv4 list. */
bool isOfAccess(std::string_view name) {
    constexpr std::string_view system = "system.";
    return name.substr(0, system.size()) == system;
}

} // namespace

bool hasAccessList(int file) {
    return valueOf(file, accessList) || !isMissing();
}

bool removeAccessList(int file) {
    return !hasAccessList(file) || retried([=] { return ::fremovexattr(file, accessList); }) == 0 ||
           isMissing();
}

bool copyAccessList(int from, int to) {
    auto const list = valueOf(from, accessList);
    if (list && isSet(to, accessList, *list))
        return true;
    bool const hasNone = !list && isMissing();
    return removeAccessList(to) && hasNone;
}

bool copyOtherAttributes(int from, int to) {
    std::string const names = attributeNames(from);
    bool complete = true;
    for (std::size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
        char const* const name = names.data() + at;
        if (name == std::string_view(accessList) || isComputed(name))
            continue;
        auto const value = valueOf(from, name);
        if ((!value || !isSet(to, name, *value)) && isOfAccess(name))
            complete = false;
    }
    return complete;
}

} // namespace filesystem
