// SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include <algorithm>

#include "Failure.h"
#include "Text.h"

namespace tool {

namespace {

namespace direct = filesystem::direct;

constexpr char const* top = Settings::directory;

QString pathOf(std::string const& name) {
    return toQString('/' + std::string(top) + '/' + name);
}

std::string groupOf(std::string const& name) {
    auto const slash = name.rfind('/');
    return slash == std::string::npos ? std::string() : name.substr(0, slash);
}

/** The reason why a group cannot exist: its name, or the name of a group around it, is a property. */
std::string propertyInPlaceOf(std::string const& group, Settings const& settings) {
    std::size_t end = std::min(group.find('/'), group.size());
    while (end < group.size() && settings.isGroup(group.substr(0, end)))
        end = std::min(group.find('/', end + 1), group.size());
    return '"' + group.substr(0, end) + "\" is a property";
}

} // namespace

std::string cleanName(std::string const& name) {
    if (!isUtf8(name))
        throw Failure(Status::misuse, "invalid name: \"" + name + "\": not UTF-8 text");
    std::string clean;
    clean.reserve(name.size());
    for (std::size_t begin = 0; begin < name.size();) {
        std::size_t const end = std::min(name.find('/', begin), name.size());
        std::string_view const level = std::string_view(name).substr(begin, end - begin);
        if (level == "." || level == "..")
            throw Failure(Status::misuse, "invalid name: \"" + name + R"(": a level cannot be "." or "..")");
        if (!level.empty() && !clean.empty())
            clean += '/';
        clean += level;
        begin = end + 1;
    }
    return clean;
}

std::string propertyName(std::string const& name) {
    std::string clean = cleanName(name);
    if (clean.empty())
        throw WrongCall("the name is empty");
    return clean;
}

std::string inGroup(std::string const& group, std::string_view name) {
    std::string full = group;
    if (!full.empty())
        full += '/';
    return full += name;
}

std::string_view nameOf(Walk const& entry) {
    std::string_view const path = entry.path();
    return entry.kind() == Kind::directory ? path.substr(0, path.size() - 1) : path;
}

Settings::Settings() : _files(std::make_unique<filesystem::RAMFileSystem>()) {
    remove("");
}

direct::Entry Settings::find(std::string const& name) const {
    return direct::find(*_files, {top}, name);
}

Walk Settings::walk(std::string const& group) const {
    return Walk(*_files, top, group);
}

std::size_t Settings::countProperties() const {
    std::size_t count = 0;
    for (Walk entry = walk(); entry.next();)
        if (entry.kind() == Kind::file)
            ++count;
    return count;
}

void Settings::write(std::string const& name, std::string const& record) {
    if (isGroup(name))
        throw Failure(Status::misuse, "cannot set \"" + name + "\": it is a group");
    std::string const group = groupOf(name);
    char* const target = direct::make(*_files, top, group, name, record.size());
    if (target == nullptr)
        throw Failure(Status::misuse, "cannot set \"" + name + "\": " + propertyInPlaceOf(group, *this));
    std::copy(record.begin(), record.end(), target);
}

void Settings::makeGroup(std::string const& name) {
    if (!direct::makeDirectories(*_files, top, name))
        throw Failure(Status::misuse,
                      "cannot create the group \"" + name +
                          "\": " + (exists(name) ? "it is a property" : propertyInPlaceOf(name, *this)));
}

void Settings::remove(std::string const& name) {
    _files->remove(pathOf(name));
    if (name.empty())
        _files->mkdir(pathOf(name));
}

void Settings::read(filesystem::FileHandle& file) {
    _files->unserialize(pathOf(""), file);
}

bool Settings::write(filesystem::FileHandle& file) const {
    return _files->serialize(pathOf(""), file);
}

} // namespace tool
