// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <string>
#include <type_traits>

#include "velmorand/Export.h"
#include "velmorand/Property.h"

namespace velmorand {

/**
 * Changes of the user's settings that take effect together, or not at all.
 *
 *     Changes changes;
 *     changes.set(width, 800);
 *     changes.set(height, 600);
 *     changes.apply();
 *
 * Nothing happens until `apply`; an object that is destroyed without it leaves everything as it is. If a name is
 * changed more than once, the last change counts. Copies hold the same changes. Use an object on one thread at a time.
 *
 * Locks: only `apply` takes any.
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
    /** Deleted: a value whose conversion to `T` could lose something or change its meaning. */
    template <class T, class Other, std::enable_if_t<!detail::isAllowed<T, Other>, int> = 0>
    void set(Property<T> const& property, Other const& value) = delete;

    /**
     * As the function `write`, in the user scope, except that an equal value is not announced.
     * Errors: `utils::Exception` if no property can have the name, or the value is too long.
     */
    template <class T>
    void write(std::string const& name, T const& value) {
        using Value = detail::Written<T>;
        if constexpr (std::is_same_v<T, Value>)
            put<detail::StoredType<Value>>(name, Stored<T>::store(value));
        else
            put<detail::StoredType<Value>>(name, Value(value));
    }
    /** Deleted: a value whose conversion to `T` could lose something or change its meaning. */
    template <class T, class Other, std::enable_if_t<!detail::isAllowed<T, Other>, int> = 0>
    void write(std::string const& name, Other const& value) = delete;

    /** As `Property::reset`. */
    template <class T>
    void reset(Property<T> const& property) {
        reset(property.name());
    }

    /**
     * Removes the user's property `name`, if there is one then. A group is left alone.
     * Errors: `utils::Exception` if no property can have the name.
     */
    void reset(std::string const& name);

    /** Whether there is nothing to apply. */
    [[nodiscard]] bool empty() const noexcept;

    /**
     * Makes all changes, removes groups that become empty, and forgets the changes. Then the listeners, except those of
     * `sender`, are notified once of each name whose value in the user scope has changed. Nothing is saved yet.
     * Errors: `utils::Exception` after the register's end, if the administrator has locked a name that is to be
     * written, and if a property cannot have its name, because it is a group or one of its groups is a property, even
     * if these same changes remove it; `std::bad_alloc`. Nothing has changed then, and the changes can be applied
     * again. What a listener throws, with the changes made.
     * Locks: takes the settings' lock, once for all.
     */
    void apply(void* sender = nullptr);

private:
    /** For the eight kinds. */
    template <class Kind>
    VELMORAND_SETTINGS_EXPORT void put(std::string const& name, Kind const& value);
    void putRecord(std::string const& name, std::optional<std::string> record);

    std::map<std::string, std::optional<std::string>>
        _changes; ///< by clean name; without a record it is reset
};

} // namespace velmorand
