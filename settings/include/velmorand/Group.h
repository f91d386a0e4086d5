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
 * A group exists because of what is in it: a missing one is empty, and the operations here and in Property.h remove one
 * that they leave empty.
 */
namespace velmorand {

/**
 * Names a group; the names given to its operations are relative to it. Doubled, leading and trailing "/" mean nothing.
 * It holds nothing but the name, so it may be copied, and may be a static object. A property is not a group: a group of
 * that name is empty.
 *
 * Locks: each operation takes the settings' lock for the whole call. After the register's end all groups are empty, and
 * changes throw `utils::Exception`.
 */
class VELMORAND_SETTINGS_EXPORT Group {
public:
    /** The group of all settings. */
    Group() = default;
    explicit Group(std::string const& name);

    /** The full name, clean; empty for the group of all settings. */
    [[nodiscard]] std::string const& name() const noexcept { return _name; }

    /** The full name of something in the group, as `Property` and `read` take it. */
    [[nodiscard]] std::string nameOf(std::string const& relative) const;

    [[nodiscard]] Group group(std::string const& relative) const { return Group(nameOf(relative)); }

    ///@{
    /**
     * The names of the properties, and of the groups, directly in this group, in byte order, each once: from one scope
     * or from all. From all scopes, names that only the user has are left out if they are locked.
     */
    [[nodiscard]] std::vector<std::string> properties() const;
    [[nodiscard]] std::vector<std::string> properties(RegisterScope scope) const;
    [[nodiscard]] std::vector<std::string> groups() const;
    [[nodiscard]] std::vector<std::string> groups(RegisterScope scope) const;
    ///@}

    ///@{
    /** Whether there is a property or a group of that name, in any scope or in one; in any, as for the lists above. */
    [[nodiscard]] bool contains(std::string const& relative) const;
    [[nodiscard]] bool contains(std::string const& relative, RegisterScope scope) const;
    ///@}

    ///@{
    /** Whether the administrator has locked the whole group, or something in it (`velmorand::isLocked`). */
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
     * Removes the user's settings in the group, or the user's property or group of a name in it, and then the groups
     * around it that have become empty. Values of other scopes stay, and are in force again. The listeners, except
     * those of `sender`, are notified of each property after all of them have been removed.
     * Errors: `utils::Exception`, with nothing removed, if the name is empty: only the function without a name removes
     * the whole group. What a listener throws, with everything removed; listeners that were not called are notified
     * with the next change.
     */
    void remove(void* sender = nullptr) const;
    void remove(std::string const& relative, void* sender = nullptr) const;
    /** For what converts to a string, a `char*` for example, which is not to be taken for a sender. */
    template <class Text,
              std::enable_if_t<
                  std::is_convertible_v<Text const&, std::string> && !std::is_null_pointer_v<Text>, int> = 0>
    void remove(Text const& relative, void* sender = nullptr) const {
        remove(std::string(relative), sender);
    }
    ///@}

    /**
     * Copies the group: the properties in it, with the user's values or else the global ones, become the user's
     * settings in a group of the full name `name`. Temporary values and overrides are not copied, since the user's are
     * saved, nor is the user's value of a locked name; the global value is copied instead, if there is one. Where the
     * user has a property and the global scope a group of the same name, or the other way round, the user's is copied.
     * The listeners, except those of `sender`, are notified of each copy when all are in place.
     * Result: the new group; of an empty group it is empty.
     * Errors: `utils::Exception` if `name` is not a name, if any scope has something of that name, if it is in this
     * group, if one of its groups is a property of the user's, or if the administrator has locked the name of a copy;
     * `std::bad_alloc`. Nothing has changed then. What a listener throws, with the copies in place.
     */
    Group copy(std::string const& name, void* sender = nullptr) const;

    /**
     * Copies the group as `copy` does, and removes the user's settings from this one, in one step. Global values can
     * only be copied: those stay, and so the old name remains as a group where there are any. Temporary values stay as
     * well. The listeners are notified of the old names and the new ones. Does nothing if `name` is this group's.
     * Errors: as for `copy`, and if the administrator has locked one of the user's settings that would be removed.
     */
    Group rename(std::string const& name, void* sender = nullptr) const;

private:
    std::string _name;
};

/**
 * Makes one level of a name out of any text, such as the title of a profile. Most texts stay as they are. "/", "%",
 * ASCII control characters, and all non-ASCII bytes of a text that is not UTF-8 become "%" and two hexadecimal digits,
 * and so do the dots of "." and "..". An empty text becomes "%".
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::string levelFrom(std::string_view text);

/**
 * The text that `levelFrom` made a level of. In other levels, "%" with two hexadecimal digits is decoded in the same way.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::string textFrom(std::string_view level);

} // namespace velmorand
