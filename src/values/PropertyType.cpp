// SPDX-License-Identifier: Apache-2.0
#include "register/Direct.h"
#include "register/Lock.h"
#include "register/Text.h"
#include "utils/properties/Register.h"
#include "values/FileRecord.h"
#include "values/MemoryRecord.h"
#include "values/Record.h"

namespace utils::properties {

namespace {

template <class Source>
Type readTypes(Source& record, Type* elementType) {
    Type const type = readTag(record);
    if (type == TYPE_LIST && elementType != nullptr)
        *elementType = readTag(record);
    return type;
}

} // namespace

Type _Register::readPropertyType(std::string const& name, Type* elementType) const {
    Lock const lock(*_mutex);
    if (direct::isOpen(*this)) {
        if (direct::Entry const entry = direct::locate(*this, name); entry.kind == direct::Kind::file) {
            RecordReader record(entry.content);
            return readTypes(record, elementType);
        }
    }
    // Reading changes only the position of the handle, but the file system's operations are not const.
    auto& self = const_cast<_Register&>(*this);
    filesystem::FileHandle* handle = nullptr;
    // Intentional: the result is not tested. A null handle reads as 0.
    self.open(toQString(_locateProperty(name)), &handle, MODE_READ);
    FileRecord record(self, handle);
    Type const type = readTypes(record, elementType);
    self.close(handle);
    return type;
}

} // namespace utils::properties
