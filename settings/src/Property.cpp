// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Property.h"

#include <cstdint>

#include <filesystem/Direct.h>

#include "Access.h"
#include "Announcement.h"
#include "Locks.h"
#include "Names.h"
#include "Notifying.h"
#include "Overrides.h"
#include "Record.h"
#include "UserChanges.h"
#include "velmorand/AnyValue.h"

namespace velmorand::detail {

namespace {

using utils::properties::_Register;

/** The register's reader and writer for a kind. */
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

/**
 * Reads the value in force; the lock is held.
 * Errors: those of the register's readers. For a locked name, a truncated value is a `PropertyBadType`, too.
 */
template <class T>
void readInForce(_Register& settings, std::string const& name, T& value) {
    if (!isLocked(settings, name) && !velmorand::isOverridden(settings, name)) {
        (settings.*Kind<T>::read)(name, value);
        return;
    }
    using EntryKind = filesystem::direct::Kind;
    auto const entry = findInForce(settings, name);
    bool const isString = std::is_same_v<T, std::string>; // the register's reader reports groups as missing
    if (entry.kind == EntryKind::none || (isString && entry.kind == EntryKind::directory))
        throw PropertyNotFound();
    value = valid(decoded<T>(entry.content));
}

} // namespace

template <class T>
T get(std::string const& name) {
    Access const settings;
    if (!settings)
        throw PropertyNotFound();
    T value{};
    readInForce(*settings, name, value);
    return value;
}

template <class T>
bool find(std::string const& name, T& value) {
    Access const settings;
    if (!settings || findInForce(*settings, name).kind == filesystem::direct::Kind::none)
        return false;
    readInForce(*settings, name, value);
    return true;
}

template <class T>
void store(std::string const& name, T const& value, RegisterScope scope, void* sender) {
    RequiredAccess const settings("cannot write", name);
    std::string storage;
    std::string const& clean = propertyName(name, storage);
    requireFits(clean, value);
    if (scope == SCOPE_USER)
        requireUnlocked(*settings, clean, "cannot write");
    std::uint64_t const before = registerState;
    Notifying notifying(Notifying::Writer::caller);
    try {
        ((*settings).*Kind<T>::write)(sender, clean, value, scope);
    } catch (Exception const&) {
        if (registerState == before) // otherwise the value is written, and a `_Register::Callback` threw
            requireRoom(*settings, clean, scope);
        throw;
    }
    notifying.rethrow();
}

bool isSet(std::string const& name) {
    Access const settings;
    return settings && settings->propertyExists(name, SCOPE_USER) && !settings->groupExists(name, SCOPE_USER);
}

void reset(std::string const& name, void* sender) {
    Access const settings;
    if (!settings || !isSet(name))
        return;
    std::string const clean = cleanName(name);
    std::set<std::string> names{clean};
    makeChanges(*settings, {{clean, std::nullopt}});
    announce(*settings, sender, std::move(names));
}

// The eight kinds.
#define VELMORAND_KIND(...)                                                                                  \
    template __VA_ARGS__ get(std::string const&);                                                            \
    template bool find(std::string const&, __VA_ARGS__&);                                                    \
    template void store(std::string const&, __VA_ARGS__ const&, RegisterScope, void*);

VELMORAND_KIND(std::string)
VELMORAND_KIND(double)
VELMORAND_KIND(int)
VELMORAND_KIND(bool)
VELMORAND_KIND(std::vector<std::string>)
VELMORAND_KIND(std::vector<double>)
VELMORAND_KIND(std::vector<int>)
VELMORAND_KIND(std::vector<bool>)

#undef VELMORAND_KIND

} // namespace velmorand::detail
