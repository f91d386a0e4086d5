// SPDX-License-Identifier: Apache-2.0
#include <type_traits>

#include "register/Direct.h"
#include "register/Lock.h"
#include "register/Text.h"
#include "utils/properties/Register.h"
#include "values/FileRecord.h"
#include "values/MemoryRecord.h"
#include "values/Record.h"

namespace utils::properties {

/** The writers, generic over the kind of value. */
struct ValueWriter {
    template <class Value>
    static void write(_Register& object, void* sender, std::string const& name, Value const& value,
                      RegisterScope scope);
};

namespace {

/** Intentional: the message for a string has the path; those for other kinds have the name and a period. */
template <class Value>
std::string cannotOpen(std::string const& name, std::string const& path) {
    return std::is_same_v<Value, std::string> ? path + " no such property" : name + " no such property.";
}

/** Writes a value straight to memory. False if the property cannot be created there. The lock is held. */
template <class Value>
bool writeDirectly(_Register& object, std::string const& name, Value const& value, RegisterScope scope) {
    if (!direct::isOpen(object))
        return false;
    RecordSize size;
    Record<Value>::write(size, value);
    char* target = direct::rewrite(object, scopeDirectory(scope), name, size.bytes());
    if (target == nullptr)
        target = direct::makeProperty(object, name, scope, size.bytes());
    if (target == nullptr)
        return false;
    RecordWriter record(target);
    Record<Value>::write(record, value);
    return true;
}

/** Writes a value through the file system's operations. The lock is held. */
template <class Value>
void writeThroughFile(_Register& object, std::string const& name, Value const& value, RegisterScope scope) {
    std::string const path = object._nameToPath(name, scope);
    QString const file = toQString(path);
    filesystem::FileHandle* handle = nullptr;
    if (!object.open(file, &handle, filesystem::FileSystem::MODE_WRITE)) {
        object.addProperty(name, scope);
        if (!object.open(file, &handle, filesystem::FileSystem::MODE_WRITE))
            throw Exception(cannotOpen<Value>(name, path));
    }
    FileRecord record(object, handle);
    Record<Value>::write(record, value); // Intentional: the handle stays open if this throws.
    object.close(handle);
}

} // namespace

template <class Value>
void ValueWriter::write(_Register& object, void* sender, std::string const& name, Value const& value,
                        RegisterScope scope) {
    checkScope(scope); // before the lock is taken, so that a bad scope is refused at once
    Lock const lock(*_Register::_mutex);
    // The value must not be read before the lock is held: until then, another thread that holds the lock may change it.
    if (!writeDirectly(object, name, value, scope))
        writeThroughFile(object, name, value, scope);
    object.announceChange(sender, name);
}

void _Register::_writeString(void* sender, std::string const& name, std::string const& value,
                             RegisterScope scope) {
    ValueWriter::write(*this, sender, name, value, scope);
}

void _Register::_writeNumber(void* sender, std::string const& name, double const& value,
                             RegisterScope scope) {
    ValueWriter::write(*this, sender, name, value, scope);
}

void _Register::_writeInteger(void* sender, std::string const& name, int const& value, RegisterScope scope) {
    ValueWriter::write(*this, sender, name, value, scope);
}

void _Register::_writeBoolean(void* sender, std::string const& name, bool const& value, RegisterScope scope) {
    ValueWriter::write(*this, sender, name, value, scope);
}

void _Register::_writeStrings(void* sender, std::string const& name, std::vector<std::string> const& value,
                              RegisterScope scope) {
    ValueWriter::write(*this, sender, name, value, scope);
}

void _Register::_writeIntegers(void* sender, std::string const& name, std::vector<int> const& value,
                               RegisterScope scope) {
    ValueWriter::write(*this, sender, name, value, scope);
}

void _Register::_writeNumbers(void* sender, std::string const& name, std::vector<double> const& value,
                              RegisterScope scope) {
    ValueWriter::write(*this, sender, name, value, scope);
}

void _Register::_writeBooleans(void* sender, std::string const& name, std::vector<bool> const& value,
                               RegisterScope scope) {
    ValueWriter::write(*this, sender, name, value, scope);
}

} // namespace utils::properties
