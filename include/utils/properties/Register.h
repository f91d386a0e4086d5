// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <boost/thread/recursive_mutex.hpp>

#include <filesystem/RAMFileSystem.h>
#include <utils/Exception.h>

#include "utils/properties/Export.h"

/**
 * Tells whether `file` is present under the directory `root`, or could lie there: when it is missing, its
 * directory part must exist under `root` or is made now (one level). A bare file name has no directory part
 * and passes under any root; `root` itself is not examined.
 *
 * Both are UTF-8.
 * Locks: none.
 * Errors: none of its own.
 */
[[nodiscard]] VELMORAND_REGISTER_EXPORT bool _test_register_path(std::string const& root,
                                                                 std::string const& file);

namespace utils::properties {

/** Where a property lives. Readers look in the user scope first, then the global, then the temporary one. */
enum RegisterScope : int {
    SCOPE_GLOBAL = 0,    ///< "/global/": read from the global register file, never written back
    SCOPE_USER = 1,      ///< "/user/": read from the user register file and saved to it
    SCOPE_TEMPORARY = 2, ///< "/temp/": in memory only
};

/** What a property holds: the tag byte that its record starts with, or the element tag of a list. */
enum Type : std::int32_t {
    TYPE_STRING = 'S',
    TYPE_NUMBER = 'N',
    TYPE_INTEGER = 'I',
    TYPE_BOOLEAN = 'B',
    TYPE_LIST = 'L', ///< the kind of the elements follows in a tag of its own
};

/**
 * The property holds another kind of value than the one asked for.
 *
 * The base is private on purpose: a handler for `utils::Exception` or `std::exception` does not catch it. It
 * carries no message.
 */
class VELMORAND_REGISTER_EXPORT PropertyBadType : utils::Exception {};

/**
 * No scope holds the property. As `PropertyBadType`, it is caught by its own name only and carries no
 * message.
 */
class VELMORAND_REGISTER_EXPORT PropertyNotFound : utils::Exception {};

/**
 * The property register of the process: named, typed settings in groups, in three scopes, saved in register
 * files and watched by listeners.
 *
 * An application calls `initialize` once, then reads and writes through `getInstance()` from any thread; the
 * user scope is saved when the process exits, and whenever `save()` is called.
 *
 *     _Register::initialize("/etc/velmorand", "/home/ada/.config/velmorand");
 *     _Register* settings = _Register::getInstance();
 *     settings->_writeInteger(nullptr, "editor/tab width", 4, SCOPE_USER);
 *     int width = 0;
 *     settings->_readInteger("editor/tab width", width);
 *
 * Names are UTF-8, relative to a scope, levels joined by "/"; what stands before the last "/" is the
 * property's group. Doubled, leading and trailing "/" mean nothing to the tree; a level "." or ".." does not
 * exist and cannot be made.
 *
 * The register is an in-memory file system: a group is a directory of it, a property a file with one value
 * record.
 *
 * Locks: one recursive lock, `_mutex`, guards all of it. "Takes the lock" below means: for the whole call, so
 * such an operation is safe from any thread, and from inside a listener. An operation that takes none is
 * called with the lock held, or from one thread only, while other threads may change the register.
 *
 * Errors: `utils::Exception` with a message for misuse and file failures; typed reads throw `PropertyBadType`
 * and `PropertyNotFound`. A scope other than the three is refused with "Bad scope value." by every operation
 * that takes one. After an exception the lock is as it was before.
 */
class VELMORAND_REGISTER_EXPORT _Register : public filesystem::RAMFileSystem {
public:
    /**
     * A listener: told of changes to the names and groups it is registered for.
     *
     * The register holds a plain pointer and never deletes a listener: whoever owns it removes its entries
     * before it is destroyed. Both operations run on the thread that made the change, with the register's
     * lock held. They may read the register, and add and remove entries, their own included; a change they
     * make themselves is announced before it returns, so a listener must not answer its own change without
     * end.
     */
    class Callback {
    public:
        virtual ~Callback() = default;

        /** The property `name` has changed; the name is as its writer gave it, without the scope. */
        virtual void propertyChanged(std::string const& name) = 0;

        /**
         * Whose listener this is: changes with this `sender` are not announced to it. Compared, never used.
         */
        virtual void* owner() = 0;
    };

    _Register(_Register const&) = delete;
    _Register& operator=(_Register const&) = delete;

    /**
     * Saves the user scope as `save()` does, then drops everything. The one instance is destroyed at process
     * exit. What the file system throws while saving comes out after all is destroyed. Listeners are not
     * touched.
     * Locks: none.
     */
    ~_Register() noexcept(false) override;

    /**
     * The one register of the process, never null; the first call builds and loads it. It belongs to the
     * library.
     * Errors: what `load` throws; nothing has been built then, and the next call tries again.
     * Locks: takes the lock.
     */
    static _Register* getInstance();

    /**
     * Sets the two register directories (UTF-8), builds the register from them, and records them as the
     * string properties "UserDataPath" and "GlobalDataPath" in the temporary scope, each followed by a
     * `save()`. To be called once, before any other use; on a register that is already built it changes where
     * `save` writes, and loads nothing: what that register holds then takes the place of what the user's file
     * held. The user directory should exist: one that is missing or cannot be
     * written is not noticed here, and saves are lost in silence. A relative directory is looked up anew at
     * each save.
     * Errors: `utils::Exception` "User register not found" when the register file's name has a directory part
     * that cannot be made in the user directory; what `load` throws. A global directory without a register
     * file is no error.
     * Locks: none for the directories; call it before other threads use the register.
     */
    static void initialize(std::string const& globalPath, std::string const& userPath);

    /**
     * Reads the register files into the global and the user scope; the constructor calls it. A missing file
     * leaves its scope as it is, which is empty at construction. A later call replaces the scopes whose files
     * are there, which discards their unsaved changes, and notifies no listener.
     * Errors: `utils::Exception` "Can't open " + the file if it is there but cannot be opened, or the reason
     * why its content is refused; the scope is then as it was.
     * Locks: none; hold `*_mutex` around it while other threads use the register.
     */
    void load();

    /**
     * Writes the whole user scope to the user register file, replacing it in one step. Silent by design: when
     * the file cannot be written, it stays as it was and nothing is reported.
     * Locks: none; hold `*_mutex` around it for a consistent snapshot while other threads write.
     */
    void save() const;

    /** The file-system path of `name` in `scope`. Locks: none. */
    [[nodiscard]] std::string _nameToPath(std::string const& name, RegisterScope scope) const;

    /**
     * The name that a path inside a scope directory stands for; any number of leading "/" is accepted. Of a
     * path in the temporary scope the two characters after the prefix are dropped as well, as they always
     * were.
     * Errors: `utils::Exception` "Bad scope value." for a path in none of the scopes; `std::out_of_range` for
     * one in the temporary scope that is too short.
     * Locks: none.
     */
    [[nodiscard]] std::string _pathToName(std::string const& path) const;

    /**
     * The path of `name` in the first scope that holds it: user, global, temporary. A group counts as well.
     * Errors: `PropertyNotFound`.
     * Locks: none.
     */
    [[nodiscard]] std::string _locateProperty(std::string const& name) const;

    /**
     * Makes a group and the groups around it that are missing; does nothing for a name that exists.
     * Locks: none.
     */
    void addGroup(std::string const& name, RegisterScope scope);

    /**
     * Makes an empty property, and its groups; does nothing for a name that exists. A name that cannot be
     * made is not reported. No listener is told.
     * Locks: takes the lock.
     */
    void addProperty(std::string const& name, RegisterScope scope);

    /**
     * Removes a property, or a group with all that is in it; does nothing for a name that is not there. The
     * empty name removes the whole scope, which the next write makes again. No listener is told.
     * Locks: takes the lock.
     */
    void delProperty(std::string const& name, RegisterScope scope);

    /** Whether `name` is a group in `scope`. Locks: takes the lock. */
    [[nodiscard]] bool groupExists(std::string const& name, RegisterScope scope) const;

    /** Whether `name` is a group in any scope. Locks: takes the lock. */
    [[nodiscard]] bool groupExists(std::string const& name) const;

    /** Whether `name` exists in `scope`, as a property or as a group. Locks: takes the lock. */
    [[nodiscard]] bool propertyExists(std::string const& name, RegisterScope scope) const;

    /** Whether `name` exists in any scope, as a property or as a group. Locks: takes the lock. */
    [[nodiscard]] bool propertyExists(std::string const& name) const;

    /**
     * The bare names of what lies directly in a group, properties and subgroups alike, in order.
     * Errors: `utils::Exception`, `group` + " does not exist or is not a group.".
     * Locks: none.
     */
    [[nodiscard]] std::set<filesystem::DirEntry> propertyList(std::string const& group,
                                                              RegisterScope scope) const;

    /**
     * Opens a property's record; `mode` as for `open`. The caller gives the handle back with `closeProperty`.
     * Errors: `utils::Exception`, "Group " + group + " does not exist !" when no scope has the group of
     * `name`, "Cannot open property named " + `name` + " !" when the file cannot be opened.
     * Locks: takes the lock.
     */
    [[nodiscard]] filesystem::FileHandle*
    openProperty(std::string const& name, filesystem::FileSystem::FileSystemMode mode, RegisterScope scope);

    /** Gives a handle of `openProperty` back. Locks: none. */
    void closeProperty(filesystem::FileHandle& handle);

    /**
     * The tag of the value that readers find under `name`; for a list, the tag of its elements is stored in
     * `*elementType` unless that is null. Unknown tags are returned as they are; an empty property and a
     * group give 0.
     * Errors: `PropertyNotFound`.
     * Locks: takes the lock.
     */
    Type readPropertyType(std::string const& name, Type* elementType) const;

    ///@{
    /**
     * The writers store a value under `name` in `scope`, in place of whatever was there, making the property
     * and its groups when they are missing, and announce the change to the listeners before they return,
     * leaving out those whose owner is `sender`. An equal value is written and announced all the same.
     * Nothing is saved.
     * Errors: `utils::Exception` when the property cannot be opened for writing, the message ending in " no
     * such property"; nothing is announced then. What a listener throws comes out with the value written; the
     * name stays pending, and is announced again with the next change.
     * Locks: take the lock, listeners included.
     */
    void _writeString(void* sender, std::string const& name, std::string const& value, RegisterScope scope);
    void _writeNumber(void* sender, std::string const& name, double const& value, RegisterScope scope);
    void _writeInteger(void* sender, std::string const& name, int const& value, RegisterScope scope);
    void _writeBoolean(void* sender, std::string const& name, bool const& value, RegisterScope scope);
    void _writeStrings(void* sender, std::string const& name, std::vector<std::string> const& value,
                       RegisterScope scope);
    void _writeIntegers(void* sender, std::string const& name, std::vector<int> const& value,
                        RegisterScope scope);
    void _writeNumbers(void* sender, std::string const& name, std::vector<double> const& value,
                       RegisterScope scope);
    void _writeBooleans(void* sender, std::string const& name, std::vector<bool> const& value,
                        RegisterScope scope);
    ///@}

    ///@{
    /**
     * The readers store the value of `name`, from the first scope that holds it, in the caller's variable; a
     * list replaces what the variable held. Values are not converted from one kind to another.
     * Errors: `PropertyNotFound` when no scope holds the name; `PropertyBadType` when it is another kind of
     * value or a group (for `_readString` a group is `PropertyNotFound`). The variable is untouched then.
     * Locks: take the lock.
     */
    void _readString(std::string const& name, std::string& value);
    void _readNumber(std::string const& name, double& value);
    void _readInteger(std::string const& name, int& value);
    void _readBoolean(std::string const& name, bool& value);
    void _readStrings(std::string const& name, std::vector<std::string>& values);
    void _readNumbers(std::string const& name, std::vector<double>& values);
    void _readIntegers(std::string const& name, std::vector<int>& values);
    void _readBooleans(std::string const& name, std::vector<bool>& values);
    ///@}

    /**
     * Announces every pending change: each name, in byte order, to the listeners registered under it, then
     * under each group around it, from the inside out. Listeners whose owner is `sender` are left out.
     * Errors: what a listener throws; the rest is not told, and every name stays pending.
     * Locks: takes the lock.
     */
    void notify(void* sender);

    /**
     * Records a change made by other means, and announces everything pending.
     * Locks: the recording takes none, so it is called with the lock held, or while no other thread uses the
     * register; the announcement takes the lock.
     */
    void markAsChanged(void* sender, std::string const& name);

    /**
     * Registers a listener under a property's or a group's name: it is told of the property, or of everything
     * in the group. The same listener may be registered more than once, and is then told once for each entry;
     * entries of one key are told in the order of their adding. Keys are compared with names as they are
     * written, "/" by "/": a change of "/a/b" or "a//b" is not heard under "a/b", and a key ends in no "/". An entry added while a change of its key is
     * being announced is told from the next change on.
     * Errors: `utils::Exception` "Null callback.".
     * Locks: takes the lock.
     * Owner: the listener stays the caller's.
     */
    void addCallback(std::string const& key, Callback* callback);

    /**
     * Removes every entry of a listener under one key; does nothing when there is none. When it returns the
     * listener is not being told through these entries by another thread, and is not called through them any
     * more.
     * Locks: takes the lock.
     */
    void removeCallback(std::string const& key, Callback* callback);

    /**
     * Removes every entry of a listener, under any key; otherwise as the other form.
     * Locks: takes the lock.
     */
    void removeCallback(Callback* callback);

    /** The one lock of the process, never destroyed. Callers may hold it around several operations. */
    static boost::recursive_mutex* _mutex;

protected:
    /**
     * Builds the three scopes and loads the register files. Only `getInstance()` makes the process's
     * register.
     */
    _Register();

    static std::string _VL_REGISTER_NAME;   ///< the register file's name in both directories
    static std::string _TempRegisterPath;   ///< not read by the register
    static std::string _GlobalRegisterPath; ///< the directory of the global register file
    static std::string _UserRegisterPath;   ///< the directory of the user register file
    static bool _haveGlobalRegister;        ///< whether `load` reads the global register file

    std::set<std::string> _changedProperties;         ///< names changed and not yet announced
    std::multimap<std::string, Callback*> _callbacks; ///< listeners by name; the pointers are not owned

private:
    friend struct ValueWriter;

    static bool _test_register_file(std::string const& root);

    /** `markAsChanged` for the writers. The lock is held. Without listeners nothing is recorded. */
    void announceChange(void* sender, std::string const& name);
};

} // namespace utils::properties
