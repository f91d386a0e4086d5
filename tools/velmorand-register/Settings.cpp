// SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include <algorithm>

#include <velmorand/Property.h>

#include "Failure.h"
#include "Terminal.h"
#include "Text.h"

namespace tool::settings {

namespace {

using filesystem::FileHandle;
using filesystem::FileSystem;
using utils::properties::_Register;
using utils::properties::RegisterScope;
using utils::properties::SCOPE_TEMPORARY;
using utils::properties::SCOPE_USER;
using utils::properties::Type;

_Register& theRegister() {
    return *_Register::getInstance();
}

std::string parentOf(std::string const& name) {
    auto const slash = name.rfind('/');
    return slash == std::string::npos ? std::string() : name.substr(0, slash);
}

/** An open file of the register. */
class OpenProperty {
public:
    OpenProperty(std::string const& name, FileSystem::FileSystemMode mode, RegisterScope scope) {
        theRegister().open(toQString(theRegister()._nameToPath(name, scope)), &_handle, mode);
    }
    OpenProperty(OpenProperty const&) = delete;
    OpenProperty& operator=(OpenProperty const&) = delete;
    ~OpenProperty() { theRegister().close(_handle); }

    std::string bytes() {
        theRegister().seek(_handle, 0, FileSystem::ORIGIN_END);
        std::string bytes(static_cast<std::size_t>(std::max(theRegister().tell(_handle), 0L)), '\0');
        theRegister().seek(_handle, 0, FileSystem::ORIGIN_BEGIN);
        theRegister().read(_handle, bytes.data(), static_cast<long>(bytes.size()));
        return bytes;
    }

    /** The number of elements that a list says it has. */
    int listCount() {
        int const tags = 2;
        return theRegister().seek(_handle, tags, FileSystem::ORIGIN_BEGIN) ? theRegister().readInt(_handle)
                                                                           : 0;
    }

    void write(std::string const& bytes) {
        theRegister().write(_handle, bytes.data(), static_cast<long>(bytes.size()));
    }

private:
    FileHandle* _handle = nullptr;
};

std::string bytesAt(std::string const& name, RegisterScope scope) {
    return OpenProperty(name, FileSystem::MODE_READ, scope).bytes();
}

template <class T>
Value readAs(std::string const& name) {
    return velmorand::read<T>(name);
}

std::optional<Value> readElement(Type type, std::string const& name) {
    switch (type) {
    case utils::properties::TYPE_STRING:
        return readAs<std::string>(name);
    case utils::properties::TYPE_NUMBER:
        return readAs<double>(name);
    case utils::properties::TYPE_INTEGER:
        return readAs<int>(name);
    case utils::properties::TYPE_BOOLEAN:
        return readAs<bool>(name);
    default:
        return std::nullopt;
    }
}

std::optional<Value> readList(Type elements, std::string const& name) {
    switch (elements) {
    case utils::properties::TYPE_STRING:
        return readAs<std::vector<std::string>>(name);
    case utils::properties::TYPE_NUMBER:
        return readAs<std::vector<double>>(name);
    case utils::properties::TYPE_INTEGER:
        return readAs<std::vector<int>>(name);
    case utils::properties::TYPE_BOOLEAN:
        return readAs<std::vector<bool>>(name);
    default:
        return std::nullopt;
    }
}

/** What applications read of a property of `size` bytes; the user scope is the first that they look at. */
std::optional<Value> valueOf(std::string const& name, std::size_t size) {
    auto elements = Type();
    Type const type = theRegister().readPropertyType(name, &elements);
    if (type != utils::properties::TYPE_LIST)
        return readElement(type, name);
    // A reader believes the count, and would fill the memory; each element takes a byte at least.
    int const count = OpenProperty(name, FileSystem::MODE_READ, SCOPE_USER).listCount();
    if (count > 0 && static_cast<std::size_t>(count) > size)
        return std::nullopt;
    return readList(elements, name);
}

/** Makes what is around a property, which must not be a group. */
void prepare(std::string const& name) {
    if (isGroup(name))
        throw Failure(Status::misuse, name + " is a group");
    makeGroup(parentOf(name));
}

} // namespace

std::string cleanName(std::string const& name) {
    if (!isUtf8(name))
        throw Failure(Status::misuse, "a name is UTF-8 text: " + name);
    std::string clean;
    for (std::size_t begin = 0; begin < name.size();) {
        std::size_t const end = std::min(name.find('/', begin), name.size());
        std::string const level = name.substr(begin, end - begin);
        if (level == "." || level == "..")
            throw Failure(Status::misuse, R"(a name has no "." and ".." levels: )" + name);
        if (!level.empty())
            clean += (clean.empty() ? "" : "/") + level;
        begin = end + 1;
    }
    return clean;
}

std::string inGroup(std::string const& group, std::string const& name) {
    std::string full = group;
    if (!full.empty())
        full += '/';
    return full += name;
}

bool isGroup(std::string const& name) {
    return theRegister().groupExists(name, SCOPE_USER);
}

bool exists(std::string const& name) {
    return theRegister().propertyExists(name, SCOPE_USER);
}

Entry entry(std::string const& name) {
    if (isGroup(name))
        return {true, {}, {}};
    Entry entry = {false, bytesAt(name, SCOPE_USER), {}};
    entry.value = valueOf(name, entry.record.size());
    return entry;
}

std::vector<std::string> namesIn(std::string const& group) {
    std::vector<std::string> names;
    for (filesystem::DirEntry const& found : theRegister().propertyList(group, SCOPE_USER))
        names.push_back(found.name.toUtf8().toStdString());
    std::sort(names.begin(), names.end());
    return names;
}

Entries entriesBelow(std::string const& group) {
    Progress progress("reading", 0);
    Entries entries;
    std::vector<std::string> groups{group};
    while (!groups.empty()) {
        std::string const around = std::move(groups.back());
        groups.pop_back();
        auto const names = namesIn(around);
        if (names.empty() && !around.empty())
            entries.emplace(around, Entry{true, {}, {}});
        for (std::string const& bare : names) {
            std::string name = inGroup(around, bare);
            if (isGroup(name))
                groups.push_back(std::move(name));
            else
                entries.emplace(name, entry(name));
            progress.at(entries.size());
        }
    }
    return entries;
}

void write(std::string const& name, Value const& value) {
    prepare(name);
    std::visit([&name](auto const& content) { velmorand::write(name, content); }, value);
}

void writeRecord(std::string const& name, std::string const& record) {
    prepare(name);
    OpenProperty(name, FileSystem::MODE_WRITE, SCOPE_USER).write(record);
}

void makeGroup(std::string const& name) {
    theRegister().addGroup(name, SCOPE_USER);
    if (!isGroup(name))
        throw Failure(Status::misuse, name + " cannot be a group: it is a property, or in one");
}

void remove(std::string const& name) {
    theRegister().delProperty(name, SCOPE_USER);
}

std::string recordOf(Value const& value) {
    std::string const place = "record";
    std::visit([&](auto const& content) { velmorand::write(place, content, SCOPE_TEMPORARY); },
               value);
    return bytesAt(place, SCOPE_TEMPORARY);
}

} // namespace tool::settings
