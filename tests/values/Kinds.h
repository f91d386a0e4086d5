// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <climits>
#include <deque>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <utils/properties/Register.h>

#include "values/Forms.h"
#include "values/Record.h"

/** The eight kinds of value, for tests that apply to each of them. */
namespace kinds {

using utils::properties::_Register;
using utils::properties::RegisterScope;

template <class T, void (_Register::*Write)(void*, std::string const&, T const&, RegisterScope),
          void (_Register::*Read)(std::string const&, T&)>
struct Kind {
    using Value = T;

    static void write(_Register& settings, void* sender, std::string const& name, Value const& value,
                      RegisterScope scope) {
        (settings.*Write)(sender, name, value, scope);
    }

    static void read(_Register& settings, std::string const& name, Value& value) {
        (settings.*Read)(name, value);
    }

    static Value read(_Register& settings, std::string const& name) {
        Value value{};
        read(settings, name, value);
        return value;
    }
};

inline double numberOfBits(std::uint64_t bits) {
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

struct String : Kind<std::string, &_Register::_writeString, &_Register::_readString> {
    static constexpr char const* name = "String";
    static constexpr char const* tags = "S";
    static Value one() { return "one"; }
    static Value other() { return "another"; }
    static std::deque<Value> zoo() {
        return {"",
                "plain",
                std::string("a\0b\0", 4),
                "\xFF\xFE\x80",
                "\xC5\xBE\xE2\x98\x83",
                std::string(std::size_t{1} << 20U, 'm')};
    }
};

struct Number : Kind<double, &_Register::_writeNumber, &_Register::_readNumber> {
    static constexpr char const* name = "Number";
    static constexpr char const* tags = "N";
    static Value one() { return 1.25; }
    static Value other() { return -7e100; }
    static std::deque<Value> zoo() {
        using Limits = std::numeric_limits<double>;
        return {0.0,
                -0.0,
                1.0,
                -1.5,
                Limits::max(),
                Limits::lowest(),
                Limits::min(),
                Limits::denorm_min(),
                -Limits::denorm_min(),
                Limits::infinity(),
                -Limits::infinity(),
                numberOfBits(0x7FF8DEAD0000BEEF),  // a quiet NaN with a payload
                numberOfBits(0xFFF8000000000001),  // a negative one
                numberOfBits(0x7FF0000000000001)}; // a signalling one
    }
};

struct Integer : Kind<int, &_Register::_writeInteger, &_Register::_readInteger> {
    static constexpr char const* name = "Integer";
    static constexpr char const* tags = "I";
    static Value one() { return 42; }
    static Value other() { return -5; }
    static std::deque<Value> zoo() { return {0, 1, -1, INT_MIN, INT_MAX, 0x01020304, 127, 128, 255, 256}; }
};

struct Boolean : Kind<bool, &_Register::_writeBoolean, &_Register::_readBoolean> {
    static constexpr char const* name = "Boolean";
    static constexpr char const* tags = "B";
    static Value one() { return true; }
    static Value other() { return false; }
    static std::deque<Value> zoo() { return {true, false}; }
};

template <class Element>
std::vector<Element> listOf(std::deque<Element> const& elements) {
    return {elements.begin(), elements.end()};
}

struct Strings : Kind<std::vector<std::string>, &_Register::_writeStrings, &_Register::_readStrings> {
    using Element = String;
    static constexpr char const* name = "Strings";
    static constexpr char const* tags = "LS";
    static Value one() { return {"one", "", "two"}; }
    static Value other() { return {"another"}; }
    static std::deque<Value> zoo() { return {{}, {""}, {"", "", ""}, {"x", "yy"}, listOf(String::zoo())}; }
};

struct Numbers : Kind<std::vector<double>, &_Register::_writeNumbers, &_Register::_readNumbers> {
    using Element = Number;
    static constexpr char const* name = "Numbers";
    static constexpr char const* tags = "LN";
    static Value one() { return {1.25, -0.0}; }
    static Value other() { return {3, 2, 1}; }
    static std::deque<Value> zoo() { return {{}, {1.0}, {0.5, -2.0}, listOf(Number::zoo())}; }
};

struct Integers : Kind<std::vector<int>, &_Register::_writeIntegers, &_Register::_readIntegers> {
    using Element = Integer;
    static constexpr char const* name = "Integers";
    static constexpr char const* tags = "LI";
    static Value one() { return {42, -5}; }
    static Value other() { return {1, 2, 3}; }
    static std::deque<Value> zoo() { return {{}, {7}, {-1, 1}, listOf(Integer::zoo())}; }
};

struct Booleans : Kind<std::vector<bool>, &_Register::_writeBooleans, &_Register::_readBooleans> {
    using Element = Boolean;
    static constexpr char const* name = "Booleans";
    static constexpr char const* tags = "LB";
    static Value one() { return {true, false, true}; }
    static Value other() { return {false}; }

    /** All false except one. */
    static Value onlyTrue(std::size_t size, std::size_t index) {
        Value values(size);
        values[index] = true;
        return values;
    }

    static std::deque<Value> zoo() {
        return {{}, {true}, {false}, onlyTrue(33, 32), onlyTrue(65, 64), Value(65, true)};
    }
};

template <class Kind>
record::Fields fieldsOf(typename Kind::Value const& value) {
    record::Fields fields;
    for (char const* tag = Kind::tags; *tag != '\0'; ++tag)
        fields.emplace_back(1, *tag);
    record::append(fields, value);
    return fields;
}

/** The record of a value. Values with the same record are equal bit for bit. */
template <class Kind>
std::string recordOf(typename Kind::Value const& value) {
    record::Fields const fields = fieldsOf<Kind>(value);
    return record::joined(fields, fields.size());
}

/** A list of `size` elements, in a repeating pattern of one `one()` and two `other()`. */
template <class Kind>
typename Kind::Value longList(std::size_t size) {
    std::deque<typename Kind::Element::Value> const samples = {Kind::Element::one(), Kind::Element::other()};
    typename Kind::Value values;
    for (std::size_t i = 0; i < size; ++i)
        values.push_back(samples[i % 3 == 0 ? 0 : 1]);
    return values;
}

/** Calls `visit` with each of the kinds. */
template <class Visit>
void forEach(Visit visit) {
    visit(String());
    visit(Number());
    visit(Integer());
    visit(Boolean());
    visit(Strings());
    visit(Numbers());
    visit(Integers());
    visit(Booleans());
}

/** A kind of value in a form of the register. */
template <class K, class F>
struct Case {
    using Kind = K;
    using Form = F;
};

struct CaseNames {
    template <class Case>
    static std::string GetName(int /*index*/) {
        return std::string(Case::Kind::name) + Case::Form::name;
    }
};

struct KindNames {
    template <class Kind>
    static std::string GetName(int /*index*/) {
        return Kind::name;
    }
};

using All = testing::Types<String, Number, Integer, Boolean, Strings, Numbers, Integers, Booleans>;

using Lists = testing::Types<Strings, Numbers, Integers, Booleans>;

using forms::Derived;
using forms::Plain;

using AllCases =
    testing::Types<Case<String, Plain>, Case<String, Derived>, Case<Number, Plain>, Case<Number, Derived>,
                   Case<Integer, Plain>, Case<Integer, Derived>, Case<Boolean, Plain>, Case<Boolean, Derived>,
                   Case<Strings, Plain>, Case<Strings, Derived>, Case<Numbers, Plain>, Case<Numbers, Derived>,
                   Case<Integers, Plain>, Case<Integers, Derived>, Case<Booleans, Plain>,
                   Case<Booleans, Derived>>;

using ListCases = testing::Types<Case<Strings, Plain>, Case<Strings, Derived>, Case<Numbers, Plain>,
                                 Case<Numbers, Derived>, Case<Integers, Plain>, Case<Integers, Derived>,
                                 Case<Booleans, Plain>, Case<Booleans, Derived>>;

template <class Case>
class Test : public forms::Test<typename Case::Form> {
protected:
    using Value = typename Case::Kind::Value;

    void write(std::string const& name, Value const& value,
               RegisterScope scope = utils::properties::SCOPE_USER, void* sender = nullptr) {
        Case::Kind::write(this->settings, sender, name, value, scope);
    }

    Value read(std::string const& name) { return Case::Kind::read(this->settings, name); }

    /** Reads into a variable that contains `one()`, and expects the reader to fail without changing it. */
    void expectRefused(std::string const& name, std::string const& failure) {
        Value value = Case::Kind::one();
        EXPECT_EQ(failure, forms::outcome([&] { Case::Kind::read(this->settings, name, value); }));
        EXPECT_EQ(recordOf<typename Case::Kind>(Case::Kind::one()), recordOf<typename Case::Kind>(value));
        EXPECT_TRUE(support::lockIsFree());
    }
};

} // namespace kinds
