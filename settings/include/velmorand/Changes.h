// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <type_traits>

#include "velmorand/Export.h"
#include "velmorand/Property.h"

namespace velmorand {

/**
 * Changes to the user's settings that take effect together or not at all.
 *
 *     Changes changes;
 *     changes.set(width, 800);
 *     changes.set(height, 600);
 *     changes.apply();
 *
 * Nothing happens until `apply`; destroying the object without calling it discards the changes. If a name is changed
 * more than once, the last change counts. A copy holds the same changes. Use an object on one thread at a time.
 *
 * Locks: none, except in `apply`.
 *
 * Guide: docs/guide.md#make-several-changes-at-once.
 */
class VELMORAND_SETTINGS_EXPORT Changes {
public:
    Changes();
    Changes(Changes const& other);
    Changes(Changes&& other) noexcept;
    Changes& operator=(Changes const& other);
    Changes& operator=(Changes&& other) noexcept;
    ~Changes();

    /**
     * As `Property::set`.
     * Errors: `utils::Exception` if the declaration does not allow the value; those of `write`.
     */
    template <class T>
    void set(Property<T> const& property, typename Property<T>::Value const& value) {
        put(property.name(), property._declared->allowed(value));
    }
    template <class T, class Other,
              std::enable_if_t<detail::isAllowed<T, Other> && !std::is_same_v<T, Other>, int> = 0>
    void set(Property<T> const& property, Other const& value) {
        set(property, property._declared->converted(value));
    }
    /** Deleted: a value whose conversion to `T` could lose information or change its meaning. */
    template <class T, class Other, std::enable_if_t<!detail::isAllowed<T, Other>, int> = 0>
    void set(Property<T> const& property, Other const& value) = delete;

    /**
     * As the function `write` in the user scope, except that an equal value is not announced.
     * Errors: `utils::Exception` if the name is not valid for a property, or if the value is too long.
     */
    template <class T>
    void write(std::string const& name, T const& value) {
        using Value = detail::Written<T>;
        if constexpr (std::is_same_v<T, Value>)
            put<detail::StoredType<Value>>(name, Stored<T>::store(value));
        else
            put<detail::StoredType<Value>>(name, Value(value));
    }
    /** Deleted: a value whose conversion to `T` could lose information or change its meaning. */
    template <class T, class Other, std::enable_if_t<!detail::isAllowed<T, Other>, int> = 0>
    void write(std::string const& name, Other const& value) = delete;

    /** As `Property::reset`. */
    template <class T>
    void reset(Property<T> const& property) {
        reset(property.name());
    }

    /**
     * Removes the user's property `name`, if there is one when the changes are applied. Does not remove a group.
     * Errors: `utils::Exception` if the name is not valid for a property.
     */
    void reset(std::string const& name);

    /** Whether there are no changes to apply. */
    [[nodiscard]] bool empty() const noexcept;

    /**
     * Makes all changes, removes groups that become empty, and clears this object. Then notifies the listeners, except
     * those of `sender`, once for each name whose value in the user scope has changed. Does not save.
     * Errors: `utils::Exception` after the register's end; if the administrator has locked a name that is to be
     * written; and if a name is a group, or one of its groups is a property, even if the same changes remove that group
     * or property. `std::bad_alloc`. In these cases nothing has changed, and the changes can be applied again.
     * Exceptions of listeners, with the changes made.
     * Locks: takes the settings' lock once for all changes.
     */
    void apply(void* sender = nullptr);

private:
    /** For the eight kinds. */
    template <class Kind>
    VELMORAND_SETTINGS_EXPORT void put(std::string const& name, Kind const& value);

    struct State;

    std::unique_ptr<State> _state; ///< null until the first change
};

} // namespace velmorand
