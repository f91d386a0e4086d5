// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "velmorand/Export.h"
#include "velmorand/Property.h"
#include "velmorand/Scope.h"

/**
 * Groups of settings.
 *
 *     Group const profiles{"editor/profiles"};
 *     for (std::string const& profile : profiles.groups())
 *         std::cout << profiles.group(profile).read<std::string>("title", profile) << '\n';
 *
 * Groups need not be created: a missing group is empty, and the operations here and in Property.h remove groups that
 * they leave empty.
 *
 * Guide: docs/recipes.md#profiles.
 */
namespace velmorand {

/**
 * Names a group; the names given to its operations are relative to it. Doubled, leading and trailing "/" are ignored.
 * The object holds only the name, so it may be copied, and may be static. A `Group` with the name of a property is
 * empty.
 *
 * Locks: each operation takes the settings' lock for the whole call. After the register's end all groups are empty, and
 * changes throw `utils::Exception`.
 */
class VELMORAND_SETTINGS_EXPORT Group {
public:
    /** The group of all settings. */
    Group() = default;
    explicit Group(std::string const& name);

    /** The full name, without extra "/"; empty for the group of all settings. */
    [[nodiscard]] std::string const& name() const noexcept { return _name; }

    /** The full name of a property or group in this group, for `Property` and `read`. */
    [[nodiscard]] std::string nameOf(std::string const& relative) const;

    /** A group in this group. */
    [[nodiscard]] Group group(std::string const& relative) const { return Group(nameOf(relative)); }

    ///@{
    /**
     * The names of the properties, or of the groups, directly in this group, in byte order, without duplicates: those
     * in one scope or, without `scope`, in all scopes. The latter leave out locked names that exist only in the user
     * scope.
     * Errors: `utils::Exception` "Bad scope value.".
     */
    [[nodiscard]] std::vector<std::string> properties() const;
    [[nodiscard]] std::vector<std::string> properties(RegisterScope scope) const;
    [[nodiscard]] std::vector<std::string> groups() const;
    [[nodiscard]] std::vector<std::string> groups(RegisterScope scope) const;
    ///@}

    ///@{
    /**
     * Whether a property or group of that name exists in one scope or, without `scope`, in any scope. The latter
     * ignores locked names that exist only in the user scope.
     * Errors: `utils::Exception` "Bad scope value.".
     */
    [[nodiscard]] bool contains(std::string const& relative) const;
    [[nodiscard]] bool contains(std::string const& relative, RegisterScope scope) const;
    ///@}

    ///@{
    /** Whether the administrator has locked the whole group, or a name in it (`velmorand::isLocked`). */
    [[nodiscard]] bool isLocked() const { return velmorand::isLocked(_name); }
    [[nodiscard]] bool isLocked(std::string const& relative) const {
        return velmorand::isLocked(nameOf(relative));
    }
    ///@}

    ///@{
    /** As the functions of the same names in velmorand/Property.h. */
    template <class T>
    [[nodiscard]] T read(std::string const& relative) const {
        return velmorand::read<T>(nameOf(relative));
    }
    template <class T>
    [[nodiscard]] T read(std::string const& relative, T fallback) const {
        return velmorand::read<T>(nameOf(relative), std::move(fallback));
    }
    template <class T, class Other, std::enable_if_t<!detail::isAllowed<T, Other>, int> = 0>
    T read(std::string const& relative, Other const& fallback) const = delete;
    template <class T>
    void write(std::string const& relative, T const& value, RegisterScope scope = SCOPE_USER,
               void* sender = nullptr) const {
        velmorand::write(nameOf(relative), value, scope, sender);
    }
    template <class T, class Other, std::enable_if_t<!detail::isAllowed<T, Other>, int> = 0>
    void write(std::string const& relative, Other const& value, RegisterScope scope = SCOPE_USER,
               void* sender = nullptr) const = delete;
    ///@}

    ///@{
    /**
     * Removes all of the user's settings in the group, or only the user's property or group `relative`, and then any
     * enclosing groups that are left empty. Values in other scopes stay, and come into force again. Then notifies the
     * listeners, except those of `sender`, of each removed property. Removing the group of all settings affects every
     * program that shares them, and removes the records of `importOnce`, so that the next start imports again.
     * Errors: `utils::Exception`, with nothing removed, after the register's end, and if `relative` is empty: only the
     * overload without it removes the whole group. Exceptions of listeners (`Listener.h`), with everything removed.
     */
    void remove(void* sender = nullptr) const;
    void remove(std::string const& relative, void* sender = nullptr) const;
    /** For a `char*`, which would otherwise be taken for a sender, and for other types that convert to a string. */
    template <class Text,
              std::enable_if_t<
                  std::is_convertible_v<Text const&, std::string> && !std::is_null_pointer_v<Text>, int> = 0>
    void remove(Text const& relative, void* sender = nullptr) const {
        remove(std::string(relative), sender);
    }
    ///@}

    /**
     * Copies the group to a group with the full name `name`: each property in it becomes a setting of the user there,
     * with the user's value or otherwise the global one. Temporary values and overrides are not copied, because the
     * user's settings are saved. The user's value of a locked name is not copied; the global value is copied instead,
     * if there is one. If the user has a property and the global scope has a group of the same name, or the reverse,
     * the user's is copied. When all copies are in place, notifies the listeners, except those of `sender`, of each new
     * property.
     * Result: the new group. It is empty if this group is empty.
     * Errors: `utils::Exception` if `name` is not a valid name, if it exists in any scope, if it is inside this group,
     * if one of its groups is a property in the user scope, or if the administrator has locked the name of a copy;
     * `std::bad_alloc`. In these cases nothing has changed. Exceptions of listeners, with the copies in place.
     */
    Group copy(std::string const& name, void* sender = nullptr) const;

    /**
     * Copies the group as `copy` does, and removes the user's settings from this one, in one step. Global and temporary
     * values in this group are not removed, so the group remains if it has any. The listeners are notified of the old
     * names and the new ones. Does nothing if `name` is the name of this group.
     * Errors: as for `copy`, and `utils::Exception` if the administrator has locked one of the user's settings that
     * would be removed.
     */
    Group rename(std::string const& name, void* sender = nullptr) const;

private:
    std::string _name;
};

/**
 * Encodes any text, such as the title of a profile, as one level of a name. Most texts are unchanged. "/", "%", ASCII
 * control characters, and all non-ASCII bytes of a text that is not UTF-8 become "%" and two hexadecimal digits, and so
 * do the dots of "." and "..". An empty text becomes "%".
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::string levelFrom(std::string_view text);

/**
 * The text that `levelFrom` encoded as `level`. In any other level, "%" and two hexadecimal digits are decoded in the
 * same way, and everything else is kept.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::string textFrom(std::string_view level);

} // namespace velmorand
