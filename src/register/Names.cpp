// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "register/Scopes.h"
#include "register/Text.h"
#include "utils/properties/Register.h"

namespace utils::properties {

std::string _Register::_nameToPath(std::string const& name, RegisterScope scope) const {
    checkScope(scope);
    std::string_view const directory = scopeDirectory(scope);
    std::string path;
    path.reserve(directory.size() + name.size() + 2);
    return path.append("/").append(directory).append("/").append(name);
}

std::string _Register::_pathToName(std::string const& path) const {
    std::size_t const start = std::min(path.find_first_not_of('/'), path.size());
    auto const startsWith = [&](std::string_view prefix) {
        return path.compare(start, prefix.size(), prefix) == 0;
    };
    if (startsWith("temp/"))
        return path.substr(start + 7); // Intentional: two characters more than the prefix.
    if (startsWith("user/"))
        return path.substr(start + 5);
    if (startsWith("global/"))
        return path.substr(start + 7);
    throw Exception("Bad scope value.");
}

std::string _Register::_locateProperty(std::string const& name) const {
    for (RegisterScope const scope : lookupOrder)
        if (std::string path = _nameToPath(name, scope); exists(toQString(path)))
            return path;
    throw PropertyNotFound();
}

} // namespace utils::properties
