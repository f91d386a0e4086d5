// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Property.h"

#include <limits>

#include "Access.h"

namespace velmorand::detail {

namespace {

using utils::properties::_Register;

/** The register's reader and writer of a type. */
template <class T>
struct Kind;

template <class T, void (_Register::*Read)(std::string const&, T&),
          void (_Register::*Write)(void*, std::string const&, T const&, RegisterScope)>
struct KindBy {
    static constexpr auto read = Read;
    static constexpr auto write = Write;
};

template <>
struct Kind<std::string> : KindBy<std::string, &_Register::_readString, &_Register::_writeString> {};
template <>
struct Kind<double> : KindBy<double, &_Register::_readNumber, &_Register::_writeNumber> {};
template <>
struct Kind<int> : KindBy<int, &_Register::_readInteger, &_Register::_writeInteger> {};
template <>
struct Kind<bool> : KindBy<bool, &_Register::_readBoolean, &_Register::_writeBoolean> {};
template <>
struct Kind<std::vector<std::string>>
    : KindBy<std::vector<std::string>, &_Register::_readStrings, &_Register::_writeStrings> {};
template <>
struct Kind<std::vector<double>>
    : KindBy<std::vector<double>, &_Register::_readNumbers, &_Register::_writeNumbers> {};
template <>
struct Kind<std::vector<int>>
    : KindBy<std::vector<int>, &_Register::_readIntegers, &_Register::_writeIntegers> {};
template <>
struct Kind<std::vector<bool>>
    : KindBy<std::vector<bool>, &_Register::_readBooleans, &_Register::_writeBooleans> {};

/** A record gives a length or count 31 bits; the register's writers do not check. */
void requireFits(std::string const& name, std::size_t size, char const* unit) {
    constexpr std::size_t most = std::numeric_limits<std::int32_t>::max();
    if (size > most)
        throw Exception(name + ": too long: " + std::to_string(size) + ' ' + unit + " (at most " +
                        std::to_string(most) + ')');
}

template <class T>
void requireFits(std::string const& /*name*/, T const& /*value*/) {}

void requireFits(std::string const& name, std::string const& value) {
    requireFits(name, value.size(), "bytes");
}

template <class T>
void requireFits(std::string const& name, std::vector<T> const& values) {
    requireFits(name, values.size(), "elements");
    if constexpr (std::is_same_v<T, std::string>)
        for (std::string const& value : values)
            requireFits(name, value);
}

} // namespace

template <class T>
T get(std::string const& name) {
    Access const settings;
    if (!settings)
        throw PropertyNotFound();
    T value{};
    ((*settings).*Kind<T>::read)(name, value);
    return value;
}

template <class T>
bool find(std::string const& name, T& value) {
    Access const settings;
    if (!settings || !settings->propertyExists(name))
        return false;
    ((*settings).*Kind<T>::read)(name, value);
    return true;
}

template <class T>
void store(std::string const& name, T const& value, RegisterScope scope, void* sender) {
    RequiredAccess const settings(name + " is not written");
    requireFits(name, value);
    ((*settings).*Kind<T>::write)(sender, name, value, scope);
}

bool isSet(std::string const& name) {
    Access const settings;
    return settings && settings->propertyExists(name, SCOPE_USER) && !settings->groupExists(name, SCOPE_USER);
}

void reset(std::string const& name, void* sender) {
    Access const settings;
    if (!settings || !isSet(name))
        return;
    settings->delProperty(name, SCOPE_USER);
    settings->markAsChanged(sender, name);
}

template std::string get(std::string const&);
template double get(std::string const&);
template int get(std::string const&);
template bool get(std::string const&);
template std::vector<std::string> get(std::string const&);
template std::vector<double> get(std::string const&);
template std::vector<int> get(std::string const&);
template std::vector<bool> get(std::string const&);

template bool find(std::string const&, std::string&);
template bool find(std::string const&, double&);
template bool find(std::string const&, int&);
template bool find(std::string const&, bool&);
template bool find(std::string const&, std::vector<std::string>&);
template bool find(std::string const&, std::vector<double>&);
template bool find(std::string const&, std::vector<int>&);
template bool find(std::string const&, std::vector<bool>&);

template void store(std::string const&, std::string const&, RegisterScope, void*);
template void store(std::string const&, double const&, RegisterScope, void*);
template void store(std::string const&, int const&, RegisterScope, void*);
template void store(std::string const&, bool const&, RegisterScope, void*);
template void store(std::string const&, std::vector<std::string> const&, RegisterScope, void*);
template void store(std::string const&, std::vector<double> const&, RegisterScope, void*);
template void store(std::string const&, std::vector<int> const&, RegisterScope, void*);
template void store(std::string const&, std::vector<bool> const&, RegisterScope, void*);

} // namespace velmorand::detail
