// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "velmorand/Export.h"
#include "velmorand/Scope.h"

/**
 * Typed settings, one line each.
 *
 *     auto theme = read<std::string>("editor/theme");
 *     auto size = read<double>("editor/size", 11.0);
 *     write("editor/theme", "dark");
 *
 * A value is a `std::string`, `double`, `int`, `bool`, or a `std::vector` of one of these. Values are not
 * converted from one type to another: a property has the type it was last written with.
 *
 * Create a `LiveSettings` first, or call `initialize`: the first use of the settings opens the register, and without
 * either it opens without its files.
 *
 * After the register's end, in the destructors of static objects that are older than the register, there are no
 * settings: reads find nothing, writes throw `utils::Exception`. The same holds in a forked child process if
 * the lock was held at the moment of the fork, by the forking thread or another. A child that is forked inside a
 * listener must not return from it: it should call `_exit` or start another program.
 *
 * Locks: each operation takes the settings' lock for the whole call, so it is safe from any thread and from
 * inside a listener.
 */
namespace velmorand {

namespace detail {

/** Whether a property may have this type. */
template <class T>
inline constexpr bool isValue = false;
template <>
inline constexpr bool isValue<std::string> = true;
template <>
inline constexpr bool isValue<double> = true;
template <>
inline constexpr bool isValue<int> = true;
template <>
inline constexpr bool isValue<bool> = true;
template <>
inline constexpr bool isValue<std::vector<std::string>> = true;
template <>
inline constexpr bool isValue<std::vector<double>> = true;
template <>
inline constexpr bool isValue<std::vector<int>> = true;
template <>
inline constexpr bool isValue<std::vector<bool>> = true;

/** Stops the compilation with an explanation if a property cannot have this type. */
template <class T>
constexpr void requireValue() {
    static_assert(isValue<T>, "a property is a std::string, double, int, bool, "
                              "or a std::vector of one of these");
}

// Defined for the eight types above, in the library.

template <class T>
VELMORAND_SETTINGS_EXPORT T get(std::string const& name);

/** Result: whether some scope has the name; otherwise the value is left alone. */
template <class T>
VELMORAND_SETTINGS_EXPORT bool find(std::string const& name, T& value);

template <class T>
VELMORAND_SETTINGS_EXPORT void store(std::string const& name, T const& value, RegisterScope scope,
                                     void* sender);

VELMORAND_SETTINGS_EXPORT bool isSet(std::string const& name);
VELMORAND_SETTINGS_EXPORT void reset(std::string const& name, void* sender);

/** What a value is written as: a string literal or `char` pointer as a string, anything else as it is. */
template <class T>
using Written =
    std::conditional_t<std::is_same_v<std::decay_t<T>, char const*> || std::is_same_v<std::decay_t<T>, char*>,
                       std::string, T>;

} // namespace detail

/**
 * The value of `name`, from the first scope that has it: user, global, temporary.
 * Errors: `PropertyNotFound` if no scope has the name; `PropertyBadType` if its value has another type or it is
 * a group (for `std::string`, a group is `PropertyNotFound`).
 */
template <class T>
[[nodiscard]] T read(std::string const& name) {
    detail::requireValue<T>();
    return detail::get<T>(name);
}

/**
 * The value of `name` as above, or `fallback` if no scope has the name.
 * Errors: as above if a scope has the name, with a value of another type or as a group.
 */
template <class T>
[[nodiscard]] T read(std::string const& name, T fallback) {
    detail::requireValue<T>();
    static_cast<void>(detail::find(name, fallback));
    return fallback;
}

/**
 * Writes a value, in the user scope unless another is given, and notifies the listeners except those of
 * `sender`. Nothing is saved yet.
 * Errors: `utils::Exception` if a string, or the list, has more than 2,147,483,647 bytes or elements, and after
 * the register's end, with nothing changed; and if the name cannot be a property: a group has it, one of its
 * groups is a property, or its last level is empty, "." or "..". The groups before that level have been made
 * then: a name must not end in "/". An exception of a listener reaches the caller, with the value written.
 */
template <class T>
void write(std::string const& name, T const& value, RegisterScope scope = SCOPE_USER,
           void* sender = nullptr) {
    using Value = detail::Written<T>;
    detail::requireValue<Value>();
    detail::store<Value>(name, value, scope, sender);
}

/**
 * One of the user's settings, declared once: its name, its type, and its value while nobody has set it.
 *
 *     Property<std::vector<int>> recent{"editor/recent", {1, 2, 3}};
 *
 * It holds no copy of the value and uses the register only in its operations, so it may be a static object.
 * Threads may use one object at the same time.
 */
template <class T>
class Property {
    static_assert((detail::requireValue<T>(), true));

public:
    explicit Property(std::string name, T fallback = T())
        : _name(std::move(name)), _fallback(std::move(fallback)) {}

    [[nodiscard]] std::string const& name() const noexcept { return _name; }
    [[nodiscard]] T const& fallback() const noexcept { return _fallback; }

    /**
     * The value from the first scope that has one, otherwise the fallback.
     * Errors: as `read`, if a scope has the name with a value of another type or as a group.
     */
    [[nodiscard]] T get() const { return read<T>(_name, _fallback); }

    /** Writes the value to the user scope, as `write` does. */
    void set(T const& value, void* sender = nullptr) const { write(_name, value, SCOPE_USER, sender); }

    /** Whether the user scope has a value of any type; a group does not count. */
    [[nodiscard]] bool isSet() const { return detail::isSet(_name); }

    /**
     * Removes the value from the user scope, so that another scope's value or the fallback is in force again,
     * and notifies the listeners except those of `sender`. Does nothing if the value is not set.
     */
    void reset(void* sender = nullptr) const { detail::reset(_name, sender); }

private:
    std::string _name;
    T _fallback;
};

} // namespace velmorand
