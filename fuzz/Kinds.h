// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <utils/properties/Register.h>

#include "values/Record.h"

/** The eight kinds of value, with their encoding by the independent implementation in Record.h. */
namespace fuzz::kinds {

using utils::properties::_Register;
using utils::properties::RegisterScope;

template <class T, void (_Register::*Write)(void*, std::string const&, T const&, RegisterScope),
          void (_Register::*Read)(std::string const&, T&), char... Tags>
struct Kind {
    using Value = T;
    static constexpr bool isString = std::is_same_v<T, std::string>;

    static std::string tags() { return {Tags...}; }

    static void write(_Register& settings, void* sender, std::string const& name, Value const& value,
                      RegisterScope scope) {
        (settings.*Write)(sender, name, value, scope);
    }
    static void read(_Register& settings, std::string const& name, Value& value) {
        (settings.*Read)(name, value);
    }

    /** The bytes of a value's record. Values with the same record are equal bit for bit. */
    static std::string record(Value const& value) {
        record::Fields fields{tags()};
        record::append(fields, value);
        return record::joined(fields, fields.size());
    }

    /** Decodes a property's bytes as a reader does. */
    static bool decode(std::string const& bytes, Value& value) {
        record::Cursor cursor(bytes);
        for (char const tag : tags())
            if (cursor.byte() != static_cast<unsigned char>(tag))
                return false;
        record::decode(cursor, value);
        return true;
    }
};

using String = Kind<std::string, &_Register::_writeString, &_Register::_readString, 'S'>;
using Number = Kind<double, &_Register::_writeNumber, &_Register::_readNumber, 'N'>;
using Integer = Kind<int, &_Register::_writeInteger, &_Register::_readInteger, 'I'>;
using Boolean = Kind<bool, &_Register::_writeBoolean, &_Register::_readBoolean, 'B'>;
using Strings = Kind<std::vector<std::string>, &_Register::_writeStrings, &_Register::_readStrings, 'L', 'S'>;
using Numbers = Kind<std::vector<double>, &_Register::_writeNumbers, &_Register::_readNumbers, 'L', 'N'>;
using Integers = Kind<std::vector<int>, &_Register::_writeIntegers, &_Register::_readIntegers, 'L', 'I'>;
using Booleans = Kind<std::vector<bool>, &_Register::_writeBooleans, &_Register::_readBooleans, 'L', 'B'>;

constexpr unsigned count = 8;

/** Calls `visit` with the kind number `number`, which is below `count`. */
template <class Visit>
void visit(unsigned number, Visit visit) {
    switch (number) {
    case 0:
        return visit(String());
    case 1:
        return visit(Number());
    case 2:
        return visit(Integer());
    case 3:
        return visit(Boolean());
    case 4:
        return visit(Strings());
    case 5:
        return visit(Numbers());
    case 6:
        return visit(Integers());
    default:
        return visit(Booleans());
    }
}

} // namespace fuzz::kinds
