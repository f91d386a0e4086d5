// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "velmorand/Declaration.h"
#include "velmorand/Declared.h"
#include "velmorand/Duration.h"
#include "velmorand/Enum.h"
#include "velmorand/Export.h"
#include "velmorand/Scope.h"
#include "velmorand/Stored.h"

/**
 * Typed settings, declared in one line each. This header cannot be compiled without exceptions.
 *
 *     Property<double> const size{"editor/size", 11.0};
 *     size.set(size.get() + 1);
 *
 * A `Property` declares a setting; reading it always gives a value, no matter what a file contains. `read` and `write`
 * access a setting by its name. They do not convert, so reading a value as another type is an error:
 *
 *     auto theme = read<std::string>("editor/theme");
 *     write("editor/theme", "dark");
 *
 * velmorand/Stored.h lists the types and explains how to add one.
 *
 * The value in force comes from the first scope that has the name: user, global, temporary. Two rules of this library
 * take precedence over that, in this order:
 *
 * - The administrator may *lock* names: the property `velmorand/locked` in the administrator's file is a list of
 *   strings, each the name of a property, or the name of a group, to lock everything in it. For a locked name, the user
 *   scope counts as empty, and writing to it in the user scope is an error. An entry that is not a valid name is
 *   ignored. The property has no effect if it is not a list of strings, or in the user scope. So use `isLocked` instead
 *   of reading the list.
 * - A program may *override* a declared setting in its process (`Property::override`): that value is used instead of
 *   those in the scopes.
 *
 * The register's own readers and writers (`_Register`) apply neither rule.
 *
 * Create a `LiveSettings` or call `initialize` first: the first use of the settings opens the register, and otherwise
 * it opens without its files.
 *
 * At exit, static objects that were created before the register are destroyed after it. In their destructors, reads
 * find nothing, and writes throw `utils::Exception`. The same applies in a forked child process if any thread held the
 * lock at the fork. A child that is forked inside a listener must not return from it: it should call `_exit` or start
 * another program.
 *
 * Locks: reading and writing take the settings' lock for the whole call; `Property::get` states when it needs none. All
 * operations are safe from any thread and from inside a listener.
 *
 * Guide: docs/guide.md#declare-the-settings.
 */
namespace velmorand {

namespace detail {

// For the eight kinds.

template <class T>
VELMORAND_SETTINGS_EXPORT T get(std::string const& name);

/** Result: whether any scope has the name; if none has, the value is unchanged. */
template <class T>
VELMORAND_SETTINGS_EXPORT bool find(std::string const& name, T& value);

template <class T>
VELMORAND_SETTINGS_EXPORT void store(std::string const& name, T const& value, RegisterScope scope,
                                     void* sender);

VELMORAND_SETTINGS_EXPORT bool isSet(std::string const& name);
VELMORAND_SETTINGS_EXPORT void reset(std::string const& name, void* sender);

VELMORAND_SETTINGS_EXPORT void clearOverride(std::string const& name, void* sender);
VELMORAND_SETTINGS_EXPORT bool isOverridden(std::string const& name);

template <class T>
T valid(std::optional<T> value) {
    if (!value)
        throw PropertyBadType();
    return *std::move(value);
}

} // namespace detail

/**
 * Whether the administrator has locked the property or group `name`, or a group around it. A group is not locked just
 * because something in it is. Use it to grey out settings that the user cannot change; listen to `velmorand/locked` to
 * be notified when that changes. Locks: the settings' lock.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT bool isLocked(std::string const& name);

/**
 * The value in force of `name`: its override, or the value in the first scope that has the name.
 * Errors: `PropertyNotFound` if it does not exist; `PropertyBadType` if the value is of another kind or not valid for
 * the type, or if the name is a group (`PropertyNotFound` for a type that is stored as a string).
 */
template <class T>
[[nodiscard]] T read(std::string const& name) {
    using Kind = detail::StoredType<T>;
    if constexpr (std::is_same_v<T, Kind>)
        return detail::get<T>(name);
    else
        return detail::valid(Stored<T>::load(detail::get<Kind>(name)));
}

/**
 * The value of `name` as above, or `fallback` if it does not exist.
 * Errors: as above if the name exists, but has a value of another type or is a group.
 */
template <class T>
[[nodiscard]] T read(std::string const& name, T fallback) {
    using Kind = detail::StoredType<T>;
    if constexpr (std::is_same_v<T, Kind>) {
        static_cast<void>(detail::find(name, fallback));
        return fallback;
    } else {
        Kind value{};
        return detail::find(name, value) ? detail::valid(Stored<T>::load(value)) : fallback;
    }
}

/** Deleted: a fallback whose conversion to `T` could lose information or change its meaning. */
template <class T, class Other, std::enable_if_t<!detail::isAllowed<T, Other>, int> = 0>
T read(std::string const& name, Other const& fallback) = delete;

/**
 * Writes a value, in the user scope unless another is given, and notifies the listeners except those of `sender`.
 * Doubled, leading and trailing "/" in the name are ignored. Does not save.
 * Errors: `utils::Exception` if a string has more than 2,147,483,647 bytes, or a list more elements than that; after
 * the register's end; if the name is a group, or one of its groups is a property; if the name is empty or not UTF-8, or
 * has a level "." or ".."; and, in the user scope, if the administrator has locked the name. In these cases nothing has
 * changed. Exceptions of listeners, with the value written.
 */
template <class T>
void write(std::string const& name, T const& value, RegisterScope scope = SCOPE_USER,
           void* sender = nullptr) {
    using Value = detail::Written<T>;
    using Kind = detail::StoredType<Value>;
    if constexpr (std::is_same_v<T, Value>)
        detail::store<Kind>(name, Stored<T>::store(value), scope, sender);
    else
        detail::store<Kind>(name, Value(value), scope, sender);
}

/** Deleted: a value whose conversion to `T` could lose information or change its meaning. */
template <class T, class Other, std::enable_if_t<!detail::isAllowed<T, Other>, int> = 0>
void write(std::string const& name, Other const& value, RegisterScope scope = SCOPE_USER,
           void* sender = nullptr) = delete;

/**
 * A setting of the program, declared once: its name, its type, its fallback, and optional details.
 *
 *     Property<std::string> const theme{"editor/theme", "light"};
 *     Property<double> const size{"editor/size", 11.0, range(6.0, 72.0), description("Font size, in points")};
 *     Property<int> const threads{"editor/threads", [] { return coresOfThisMachine(); }};
 *
 * `T` is a type that velmorand/Stored.h lists, or a type that the program has added. velmorand/Declaration.h describes
 * the details.
 *
 * Creating it does not use the register, so it may be a static object. Several threads may use one object at the same
 * time. Copies share the declaration. The program's catalogue (velmorand/Catalogue.h) lists it as long as one of them
 * exists.
 */
template <class T>
class Property {
    using Declared = detail::Declared<T>;

    template <class Call>
    static constexpr bool isCall = std::is_invocable_r_v<T, Call&>;

    template <class Fallback>
    static constexpr bool isConstant = detail::isAllowedInDeclaration<T, Fallback> && !isCall<Fallback>;

public:
    using Value = T;

    /** With the fallback `T()`. */
    explicit Property(std::string name) : Property(std::move(name), T()) {}

    ///@{
    /**
     * With a fallback and details, see velmorand/Declaration.h.
     * Errors: `utils::Exception` for a fallback, limit or choice that the type cannot represent, and for a minimum that
     * is greater than the maximum.
     */
    template <class... Details>
    Property(std::string name, T const& fallback, Details... details)
        : Property(std::make_unique<Declared>(std::move(name), detail::Constant<T>{fallback}, details...)) {}
    template <class Fallback, class... Details,
              std::enable_if_t<isConstant<Fallback> && !std::is_same_v<T, Fallback>, int> = 0>
    Property(std::string name, Fallback const& fallback, Details... details)
        : Property(std::make_unique<Declared>(std::move(name), detail::Constant<Fallback>{fallback},
                                              details...)) {}
    ///@}

    /**
     * With a fallback that `compute()` returns. It is called whenever the fallback is needed, on the thread that needs
     * it. The library holds no lock during the call, except for a `Listener` to the property.
     */
    template <class Call, class... Details, std::enable_if_t<isCall<Call>, int> = 0>
    Property(std::string name, Call compute, Details... details)
        : Property(std::make_unique<Declared>(std::move(name), detail::asFunction<T()>(std::move(compute)),
                                              details...)) {}

    /**
     * Deleted: a fallback whose conversion to `T` could lose information or change its meaning, such as `12.5` for
     * `int`.
     */
    template <class Other, class... Details, std::enable_if_t<!isConstant<Other> && !isCall<Other>, int> = 0>
    Property(std::string name, Other const& fallback, Details... details) = delete;

    // A property always has its declaration, so moving one copies it.
    Property(Property const&) noexcept = default;
    Property& operator=(Property const&) noexcept = default;
    ~Property() = default;

    /** The name, without extra "/". Valid as long as the property or a copy of it exists. */
    [[nodiscard]] std::string const& name() const noexcept { return _declared->name(); }

    /** The fallback; calls the function that computes it, if there is one. */
    [[nodiscard]] T fallback() const { return _declared->fallback(); }

    /**
     * The value in force: the override, or the value in the first scope that has one; the user scope is left out if the
     * administrator has locked the setting. The result is the fallback if there is no value, or if the value is of
     * another kind, is not valid for the type, or is not allowed by the declaration. Values in the register never make
     * it throw, but exceptions of a function that computes the fallback reach the caller.
     * Locks: the settings' lock. For a type of at most 8 bytes that can be copied bytewise, such as `int`, `double`,
     * `bool` and enums: none if neither the register nor an override has changed since the value was last read.
     */
    [[nodiscard]] T get() const { return _declared->get(); }

    /**
     * Why `get` returns the fallback: the name is not valid or is a group, or the stored value is not valid, as in
     * `editor/size: 80 is not allowed: expected 6 to 72`. Empty if `get` returns the stored value, or if a valid name
     * has none.
     */
    [[nodiscard]] std::string problem() const { return _declared->problem(); }

    /**
     * Writes the value to the user scope, as `write` does. If the user scope already has that value, nothing is written
     * and no listener is notified. While the setting is overridden, the value is stored and announced as usual, and
     * `get` still returns the override.
     * Errors: `utils::Exception` if the declaration does not allow the value, or if the administrator has locked the
     * setting, even if the value is the same; those of `write`.
     */
    void set(T const& value, void* sender = nullptr) const {
        _declared->store(_declared->allowed(value), sender);
    }

    /**
     * The same for a value of another type that converts without loss. A value that `T` cannot represent is refused.
     */
    template <class Other, std::enable_if_t<detail::isAllowed<T, Other>, int> = 0>
    void set(Other const& value, void* sender = nullptr) const {
        set(_declared->converted(value), sender);
    }
    template <class Other, std::enable_if_t<!detail::isAllowed<T, Other>, int> = 0>
    void set(Other const& value, void* sender = nullptr) const = delete;

    /** Whether the user scope has a value, of any type, even if it is not in force. A group does not count. */
    [[nodiscard]] bool isSet() const { return detail::isSet(name()); }

    /**
     * Removes the value from the user scope, so that another scope's value or the fallback comes into force, and
     * notifies the listeners except those of `sender`. Groups that become empty are removed. Does nothing if the user
     * scope has no value. A locked setting may be reset, since the user's value is not in force.
     * Errors: exceptions of listeners, with the value removed.
     */
    void reset(void* sender = nullptr) const { detail::reset(name(), sender); }

    /** Whether the administrator has locked the setting: `set` and `override` would throw. */
    [[nodiscard]] bool isLocked() const { return velmorand::isLocked(name()); }

    /**
     * Puts a value in force in this process, in place of the values in the scopes: for a command-line option such as
     * `--theme dark`. All declarations of the name, and `read`, return it. It is not in any scope, so it is never
     * saved, and `Group` neither lists nor copies it. It replaces an earlier override, and lasts until `clearOverride`
     * or the end of the process, even if this object is destroyed before. A forked child process keeps its parent's
     * overrides.
     *
     * Notifies the listeners, except those of `sender`, if this changes the value in force. If the administrator locks
     * the setting later, the administrator's value is in force for as long as it is locked.
     * Errors: `utils::Exception`, with nothing changed, if the declaration does not allow the value, if the
     * administrator has locked the setting, if the setting's name is not valid, or after the register's end. Exceptions
     * of listeners, with the override in place.
     * Locks: the settings' lock. It opens the settings if they are not open yet: create the `LiveSettings` first.
     */
    void override(T const& value, void* sender = nullptr) const {
        _declared->override(_declared->allowed(value), sender);
    }

    ///@{
    /** The same for a value of another type, as for `set`. */
    template <class Other, std::enable_if_t<detail::isAllowed<T, Other>, int> = 0>
    void override(Other const& value, void* sender = nullptr) const {
        override(_declared->converted(value), sender);
    }
    template <class Other, std::enable_if_t<!detail::isAllowed<T, Other>, int> = 0>
    void override(Other const& value, void* sender = nullptr) const = delete;
    ///@}

    /**
     * Removes the override, no matter who set it, and notifies the listeners, except those of `sender`, if this changes
     * the value in force. Does nothing without an override. Locks: the settings' lock.
     */
    void clearOverride(void* sender = nullptr) const { detail::clearOverride(name(), sender); }

    /** Whether an override is in force: one is set, and the administrator has not locked the setting. */
    [[nodiscard]] bool isOverridden() const { return detail::isOverridden(name()); }

private:
    friend class Changes;

    explicit Property(std::unique_ptr<Declared> declared)
        : _declared(std::static_pointer_cast<Declared>(detail::registered(std::move(declared)))) {}

    std::shared_ptr<Declared> _declared;
};

} // namespace velmorand
