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

/** The writers, apart from the kind of value. */
struct ValueWriter {
    template <class Value>
    static void write(_Register& object, void* sender, std::string const& name, Value const& value,
                      RegisterScope scope);

private:
    template <class Value>
    static bool writeDirectly(_Register& object, void* sender, std::string const& name, Value const& value,
                              RegisterScope scope);
};

namespace {

/** Two texts, one with the path and one with the name and a period: this is meant. */
template <class Value>
std::string cannotOpen(std::string const& name, std::string const& path) {
    return std::is_same_v<Value, std::string> ? path + " no such property" : name + " no such property.";
}

} // namespace

/** Writes a value straight to memory and announces it. False when the property can't be there. */
template <class Value>
bool ValueWriter::writeDirectly(_Register& object, void* sender, std::string const& name, Value const& value,
                                RegisterScope scope) {
    if (!direct::isOpen(object) || !isScope(scope))
        return false;
    RecordSize size;
    Record<Value>::write(size, value);
    Lock const lock(*_Register::_mutex);
    char* target = direct::rewrite(object, scopeDirectory(scope), name, size.bytes());
    if (target == nullptr)
        target = direct::makeProperty(object, name, scope, size.bytes());
    if (target == nullptr)
        return false;
    RecordWriter record(target);
    Record<Value>::write(record, value);
    object.announceChange(sender, name);
    return true;
}

template <class Value>
void ValueWriter::write(_Register& object, void* sender, std::string const& name, Value const& value,
                        RegisterScope scope) {
    if (writeDirectly(object, sender, name, value, scope))
        return;
    std::string const path = object._nameToPath(name, scope);
    Lock const lock(*_Register::_mutex);
    QString const file = toQString(path);
    filesystem::FileHandle* handle = nullptr;
    if (!object.open(file, &handle, filesystem::FileSystem::MODE_WRITE)) {
        object.addProperty(name, scope);
        if (!object.open(file, &handle, filesystem::FileSystem::MODE_WRITE))
            throw Exception(cannotOpen<Value>(name, path));
    }
    FileRecord record(object, handle);
    Record<Value>::write(record, value); // the handle stays open when this throws: this is meant
    object.close(handle);
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
