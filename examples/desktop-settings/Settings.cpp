// SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include <vector>

#include <velmorand/Lock.h>
#include <velmorand/Property.h>

namespace desktop {

using namespace utils::properties;

namespace {

_Register& settings() {
    return *_Register::getInstance();
}

template <class Held>
Value readWith(void (_Register::*reader)(std::string const&, Held&), std::string const& name) {
    Held value{};
    (settings().*reader)(name, value);
    return value;
}

Value readList(std::string const& name, Type elementType) {
    switch (elementType) {
    case TYPE_STRING:
        return readWith(&_Register::_readStrings, name);
    case TYPE_INTEGER:
        return readWith(&_Register::_readIntegers, name);
    case TYPE_NUMBER:
        return readWith(&_Register::_readNumbers, name);
    default:
        return readWith(&_Register::_readBooleans, name);
    }
}

} // namespace

void write(void* sender, std::string const& name, Value const& value, RegisterScope scope) {
    std::visit([&](auto const& held) { velmorand::write(name, held, scope, sender); }, value);
}

Value read(std::string const& name) {
    velmorand::Lock const lock; // the type and the value must match
    Type elementType{};
    switch (settings().readPropertyType(name, &elementType)) {
    case TYPE_STRING:
        return readWith(&_Register::_readString, name);
    case TYPE_INTEGER:
        return readWith(&_Register::_readInteger, name);
    case TYPE_NUMBER:
        return readWith(&_Register::_readNumber, name);
    case TYPE_LIST:
        return readList(name, elementType);
    default:
        return readWith(&_Register::_readBoolean, name);
    }
}

std::string shortName(std::string const& name) {
    return name.substr(name.find(desktopGroup) == 0 ? std::string(desktopGroup).size() + 1 : 0);
}

std::string scopeOf(std::string const& name) {
    if (settings().propertyExists(name, SCOPE_USER))
        return "user";
    if (settings().propertyExists(name, SCOPE_GLOBAL))
        return "global";
    if (settings().propertyExists(name, SCOPE_TEMPORARY))
        return "temporary";
    return "nowhere";
}

int countProperties(std::string const& group, RegisterScope scope) {
    velmorand::Lock const lock;
    int count = 0;
    std::vector<std::string> groups = {group};
    while (!groups.empty()) {
        std::string const current = groups.back();
        groups.pop_back();
        for (filesystem::DirEntry const& entry : settings().propertyList(current, scope)) {
            std::string const name = (current.empty() ? "" : current + "/") + entry.name.toStdString();
            if (settings().groupExists(name, scope))
                groups.push_back(name);
            else
                ++count;
        }
    }
    return count;
}

} // namespace desktop
