// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <type_traits>

#include "register/Direct.h"
#include "register/Lock.h"
#include "register/Text.h"
#include "utils/properties/Register.h"
#include "values/FileRecord.h"
#include "values/MemoryRecord.h"
#include "values/Record.h"

namespace utils::properties {

namespace {

/** Intentional: if a located property cannot be opened, a string is reported as missing, other kinds as a bad type. */
template <class Value>
using CannotOpen = std::conditional_t<std::is_same_v<Value, std::string>, PropertyNotFound, PropertyBadType>;

/** Reads an existing value of the right kind straight from memory. False for anything else. */
template <class Value>
bool readDirectly(_Register& object, std::string const& name, Value& value) {
    if (!direct::isOpen(object))
        return false;
    direct::Entry const entry = direct::locate(object, name);
    RecordReader record(entry.content);
    if (entry.kind != direct::Kind::file || !Record<Value>::readTags(record))
        return false;
    Record<Value>::readPayload(record, value);
    return true;
}

/** Reads through a handle. It is not inlined, so that other reads do not have to save registers for it. */
template <class Value>
[[gnu::noinline]] void readThroughHandle(_Register& object, std::string const& name, Value& value) {
    std::string const path = object._locateProperty(name);
    filesystem::FileHandle* handle = nullptr;
    if (!object.open(toQString(path), &handle, filesystem::FileSystem::MODE_READ))
        throw CannotOpen<Value>();
    FileRecord record(object, handle);
    if (!Record<Value>::readTags(record))
        throw PropertyBadType(); // Intentional: the handle stays open, as after every failed read.
    Record<Value>::readPayload(record, value);
    object.close(handle);
}

template <class Value>
void readValue(_Register& object, std::string const& name, Value& value) {
    Lock const lock(*_Register::_mutex);
    if (!readDirectly(object, name, value))
        readThroughHandle(object, name, value);
}

} // namespace

void _Register::_readString(std::string const& name, std::string& value) {
    readValue(*this, name, value);
}

void _Register::_readNumber(std::string const& name, double& value) {
    double number = 0;
    readValue(*this, name, number);
    // Intentional: a number, unlike the other kinds, is stored after the handle is closed. Copied bytewise, as in
    // `Field`.
    std::memcpy(&value, &number, sizeof value);
}

void _Register::_readInteger(std::string const& name, int& value) {
    readValue(*this, name, value);
}

void _Register::_readBoolean(std::string const& name, bool& value) {
    readValue(*this, name, value);
}

void _Register::_readStrings(std::string const& name, std::vector<std::string>& values) {
    readValue(*this, name, values);
}

void _Register::_readNumbers(std::string const& name, std::vector<double>& values) {
    readValue(*this, name, values);
}

void _Register::_readIntegers(std::string const& name, std::vector<int>& values) {
    readValue(*this, name, values);
}

void _Register::_readBooleans(std::string const& name, std::vector<bool>& values) {
    readValue(*this, name, values);
}

} // namespace utils::properties
