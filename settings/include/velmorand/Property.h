// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <boost/thread/lock_guard.hpp>

#include "utils/properties/Register.h"

/**
 * Settings by type, one line each: a header over the register's typed readers and writers, at their cost.
 *
 *     auto theme = read<std::string>("editor/theme");
 *     auto size = read<double>("editor/size", 11.0);
 *     write("editor/theme", "dark");
 *
 * `_Register::initialize` comes first: whatever uses the register before builds it without the register files.
 *
 * The types are `std::string`, `double`, `int`, `bool`, and `std::vector` of each. No value is converted from
 * one kind to another: a property holds the kind that was written.
 *
 * Locks: every operation takes the register's lock, for the whole call.
 */
namespace utils::properties {

namespace detail {

/** The register's reader and writer of a type. */
template <class T>
struct Kind {
    static constexpr bool isKnown = false;
};

template <class T, void (_Register::*Read)(std::string const&, T&),
          void (_Register::*Write)(void*, std::string const&, T const&, RegisterScope)>
struct KnownKind {
    static constexpr bool isKnown = true;
    static constexpr auto read = Read;
    static constexpr auto write = Write;
};

template <>
struct Kind<std::string> : KnownKind<std::string, &_Register::_readString, &_Register::_writeString> {};
template <>
struct Kind<double> : KnownKind<double, &_Register::_readNumber, &_Register::_writeNumber> {};
template <>
struct Kind<int> : KnownKind<int, &_Register::_readInteger, &_Register::_writeInteger> {};
template <>
struct Kind<bool> : KnownKind<bool, &_Register::_readBoolean, &_Register::_writeBoolean> {};
template <>
struct Kind<std::vector<std::string>>
    : KnownKind<std::vector<std::string>, &_Register::_readStrings, &_Register::_writeStrings> {};
template <>
struct Kind<std::vector<double>>
    : KnownKind<std::vector<double>, &_Register::_readNumbers, &_Register::_writeNumbers> {};
template <>
struct Kind<std::vector<int>>
    : KnownKind<std::vector<int>, &_Register::_readIntegers, &_Register::_writeIntegers> {};
template <>
struct Kind<std::vector<bool>>
    : KnownKind<std::vector<bool>, &_Register::_readBooleans, &_Register::_writeBooleans> {};

/** The kind of a type; what is none does not compile. */
template <class T>
struct KindOf : Kind<T> {
    static_assert(Kind<T>::isKnown, "a property is a std::string, double, int, bool, "
                                    "or a std::vector of one of these");
};

/** What a value is written as: a string literal or a `char` pointer as a string, all else as it is. */
template <class T>
using Written =
    std::conditional_t<std::is_same_v<std::decay_t<T>, char const*> || std::is_same_v<std::decay_t<T>, char*>,
                       std::string, T>;

} // namespace detail

/**
 * The value of `name`, from the first scope that holds it: user, global, temporary.
 * Errors: `PropertyNotFound` when none does; `PropertyBadType` when it holds another kind of value or is a
 * group (for a `std::string` a group is `PropertyNotFound`).
 */
template <class T>
[[nodiscard]] T read(std::string const& name) {
    T value{};
    (_Register::getInstance()->*detail::KindOf<T>::read)(name, value);
    return value;
}

/**
 * As above, but `fallback` when no scope holds `name`.
 * Errors: as above when a scope does, with another kind of value or as a group.
 */
template <class T>
[[nodiscard]] T read(std::string const& name, T fallback) {
    _Register* const settings = _Register::getInstance();
    boost::lock_guard<boost::recursive_mutex> const lock(*_Register::_mutex);
    if (settings->propertyExists(name))
        (settings->*detail::KindOf<T>::read)(name, fallback);
    return fallback;
}

/**
 * Writes a value, in the user scope unless another is given, and tells the listeners, but for those whose
 * owner is `sender`. Nothing is saved.
 * Errors: those of the register's writers.
 */
template <class T>
void write(std::string const& name, T const& value, RegisterScope scope = SCOPE_USER,
           void* sender = nullptr) {
    using Value = detail::Written<T>;
    (_Register::getInstance()->*detail::KindOf<Value>::write)(sender, name, value, scope);
}

/**
 * One setting of the user, declared once: its name, its type, and what it is while nobody has set it.
 *
 *     Property<std::vector<int>> recent{"editor/recent", {1, 2, 3}};
 *
 * It holds no value of its own, and touches the register in its operations only, so it may be a static object.
 * Its operations come after `_Register::initialize`. One object may be used by several threads at once.
 */
template <class T>
class Property {
    static_assert(detail::KindOf<T>::isKnown);

public:
    explicit Property(std::string name, T fallback = T())
        : _name(std::move(name)), _fallback(std::move(fallback)) {}

    [[nodiscard]] std::string const& name() const noexcept { return _name; }
    [[nodiscard]] T const& fallback() const noexcept { return _fallback; }

    /**
     * The value from the first scope that holds it, else the fallback.
     * Errors: those of `read` when a scope holds another kind of value or a group.
     */
    // NOLINTNEXTLINE(modernize-use-nodiscard): asking and not looking harms nothing
    T get() const { return read<T>(_name, _fallback); }

    /** Writes the value in the user scope, as `write` does. */
    void set(T const& value, void* sender = nullptr) const { write(_name, value, SCOPE_USER, sender); }

    /** Whether the user scope holds a value, of whatever kind; a group is none. */
    // NOLINTNEXTLINE(modernize-use-nodiscard): as above
    bool isSet() const {
        _Register* const settings = _Register::getInstance();
        boost::lock_guard<boost::recursive_mutex> const lock(*_Register::_mutex);
        return settings->propertyExists(_name, SCOPE_USER) && !settings->groupExists(_name, SCOPE_USER);
    }

    /**
     * Takes the value out of the user scope, so that another scope's or the fallback shows again, and tells
     * the listeners as a change does. Does nothing when it is not set.
     */
    void reset(void* sender = nullptr) const {
        _Register* const settings = _Register::getInstance();
        boost::lock_guard<boost::recursive_mutex> const lock(*_Register::_mutex);
        if (!isSet())
            return;
        settings->delProperty(_name, SCOPE_USER);
        settings->markAsChanged(sender, _name);
    }

private:
    std::string _name;
    T _fallback;
};

} // namespace utils::properties
