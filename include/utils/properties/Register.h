// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include <boost/thread/recursive_mutex.hpp>

#include <filesystem/RAMFileSystem.h>
#include <utils/Exception.h>

#include "utils/properties/Export.h"
#include "utils/properties/Types.h"

/**
 * Whether `file` exists in the directory `root`, or its directory part exists there. A missing directory part is
 * created (one level); the result is false if that fails. For a bare file name, which has no directory part, the result
 * is always true. `root` itself is not examined. Both are UTF-8.
 * Errors: `utils::Exception` for a path of 2 GiB or more.
 * Locks: none.
 */
[[nodiscard]] VELMORAND_REGISTER_EXPORT bool _test_register_path(std::string const& root,
                                                                 std::string const& file);

namespace utils::properties {

/**
 * The process's property register: named, typed settings in groups and three scopes, saved in register files and
 * observed by listeners.
 *
 * An application calls `initialize` once, then reads and writes through `getInstance()` from any thread. The user scope
 * is saved when the process exits, and whenever `save()` is called.
 *
 *     _Register::initialize("/etc/velmorand", "/home/ada/.config/velmorand");
 *     _Register* settings = _Register::getInstance();
 *     settings->_writeInteger(nullptr, "editor/tab width", 4, SCOPE_USER);
 *     int width = 0;
 *     settings->_readInteger("editor/tab width", width);
 *
 * Names are UTF-8, relative to a scope, with "/" between the levels; the part before the last "/" is the property's
 * group. The tree ignores doubled, leading and trailing "/"; a level "." or ".." does not exist and cannot be created.
 *
 * The register is an in-memory file system: a group is a directory, and a property is a file with one value record.
 *
 * Locks: one recursive lock, `_mutex`, guards everything. "Takes the lock" below means for the whole call: such an
 * operation is safe from any thread, and from inside a listener. If other threads may change the register, hold the
 * lock around an operation that takes none.
 *
 * Errors: `utils::Exception` with a message for misuse and file failures; typed reads throw `PropertyBadType` and
 * `PropertyNotFound`. Every operation that takes a scope rejects a value other than the three with "Bad scope value.".
 * An exception leaves the lock as it was before the call.
 *
 * Exit: from the moment the register is saved, other threads that call an operation which takes the lock wait until the
 * process ends. Do not wait for such a thread in an exit handler or a destructor that runs later.
 *
 * Fork: if any thread holds the lock at a fork, including the thread that forks, the lock stays taken in the child
 * forever. Such a child must not call an operation that takes the lock, nor return from a listener: it should call
 * `_exit` or start another program.
 *
 * Guide: docs/register.md#using-the-register-directly.
 */
class VELMORAND_REGISTER_EXPORT _Register : public filesystem::RAMFileSystem {
public:
    /**
     * A listener: notified of changes to the names and groups under which it is registered.
     *
     * The register stores a plain pointer and never deletes a listener: its owner must remove its entries before
     * destroying it. Both operations are called on the thread that made the change, with the register's lock held. They
     * may read the register, and add and remove entries, including their own. They may also change properties; each
     * such change is announced before the writer returns, so a listener that changes a property it listens to at every
     * notification recurses endlessly.
     */
    class Callback {
    public:
        virtual ~Callback() = default;

        /** Called when a property has changed. `name` is exactly what its writer passed, without the scope. */
        virtual void propertyChanged(std::string const& name) = 0;

        /**
         * The owner of this listener: the listener is not notified of changes whose `sender` equals it. The pointer is
         * only compared, never dereferenced.
         */
        virtual void* owner() = 0;
    };

    _Register(_Register const&) = delete;
    _Register& operator=(_Register const&) = delete;

    /**
     * Saves the user scope as `save()` does, then destroys the register, but not the listeners. The process's register
     * is destroyed at exit, after all exit handlers that were registered after the first `getInstance()`. A forked
     * child that exits also saves, to the same file, even if it changed nothing; `_exit` and a successful exec save
     * nothing.
     * Errors: exceptions of `save`, thrown after everything has been destroyed.
     * Locks: none. At exit, a handler that runs just before takes the lock and never releases it, so that no other
     * thread changes what is saved. It waits for at most one second; if another thread holds the lock longer, or held
     * it when this process was forked, the register is saved and destroyed without the lock.
     */
    ~_Register() noexcept(false) override;

    /**
     * The process's register, never null. The first call builds and loads it. The library owns it.
     * Errors: those of `load`, with nothing built; the next call tries again.
     * Locks: takes the lock.
     */
    static _Register* getInstance();

    /**
     * Sets the two register directories (UTF-8), builds the register from them, and records them as the string
     * properties "UserDataPath" and "GlobalDataPath" in the temporary scope, each followed by a `save()`.
     *
     * Call it once, before any other use. If the register has already been built, the call changes where `save` writes,
     * but loads nothing: the register's content then replaces that of the user's file. The user directory should exist:
     * neither this function nor `save` reports a directory that is missing or not writable. A relative directory is
     * resolved at each save. A global directory need not contain a register file.
     * Errors: `utils::Exception` "User register not found" if `_test_register_path` is false for the user directory
     * (never for the default file name); those of `load`, `save` and `_writeString`. The directories that were set
     * before the exception stay set.
     * Locks: none for the directories; call it before other threads use the register.
     */
    static void initialize(std::string const& globalPath, std::string const& userPath);

    /**
     * Reads the register files into the global and the user scope; the constructor calls it. If a file does not exist,
     * its scope is unchanged; at construction it is empty. A later call replaces the scopes whose files exist, which
     * discards their unsaved changes, and notifies no listener.
     * Errors: `utils::Exception` "Can't open " + path if a file exists but cannot be opened; those of `unserialize` if
     * its content is invalid. In both cases that scope is unchanged. After an error in the global file, the user file
     * is not read.
     * Locks: none; hold `*_mutex` around it while other threads use the register.
     */
    void load();

    /**
     * Writes the whole user scope to the user register file, replacing it atomically.
     * Errors: those of `serialize`. Intentional: a file that cannot be written is not reported; it stays unchanged.
     * Locks: none; hold `*_mutex` around it for a consistent snapshot while other threads write.
     */
    void save() const;

    /** The file-system path of `name` in `scope`. Locks: none. */
    [[nodiscard]] std::string _nameToPath(std::string const& name, RegisterScope scope) const;

    /**
     * The inverse: the name, relative to its scope, of a path inside a scope directory. Any number of leading "/" is
     * accepted.
     * Intentional: in the temporary scope, the two characters after the prefix are dropped as well.
     * Errors: `utils::Exception` "Bad scope value." for a path outside the scopes; `std::out_of_range` for a
     * path in the temporary scope that is too short.
     * Locks: none.
     */
    [[nodiscard]] std::string _pathToName(std::string const& path) const;

    /**
     * The path of `name` in the first scope that has a property or group of that name: user, global, temporary.
     * Errors: `PropertyNotFound`.
     * Locks: none.
     */
    [[nodiscard]] std::string _locateProperty(std::string const& name) const;

    /**
     * Creates a group and its missing parent groups. Does nothing if the name exists, and reports nothing if the group
     * cannot be created.
     * Locks: none.
     */
    void addGroup(std::string const& name, RegisterScope scope);

    /**
     * Creates an empty property and its missing groups. Does nothing if the name exists, and reports nothing if the
     * property cannot be created. Notifies no listener.
     * Locks: takes the lock.
     */
    void addProperty(std::string const& name, RegisterScope scope);

    /**
     * Removes a property, or a group with everything in it. Does nothing if the name does not exist. The empty name
     * removes the whole scope, which the next write creates again. Notifies no listener.
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
     * The bare names of the properties and subgroups directly in a group, in ascending order.
     * Errors: `utils::Exception`, `group` + " does not exist or is not a group.".
     * Locks: none.
     */
    [[nodiscard]] std::set<filesystem::DirEntry> propertyList(std::string const& group,
                                                              RegisterScope scope) const;

    /**
     * Opens the file of a property, as `open` does; creates neither the group nor, for reading, the property. The
     * caller must close the handle with `closeProperty`.
     * Errors: `utils::Exception`: "Group " + group + " does not exist !" if no scope has the group of `name`, "Cannot
     * open property named " + `name` + " !" if the file cannot be opened.
     * Locks: takes the lock.
     */
    [[nodiscard]] filesystem::FileHandle*
    openProperty(std::string const& name, filesystem::FileSystem::FileSystemMode mode, RegisterScope scope);

    /** Closes a handle of `openProperty`. Locks: none. */
    void closeProperty(filesystem::FileHandle& handle);

    /**
     * The tag of the value that readers find under `name`. If it is a list and `elementType` is not null, stores the
     * element tag there. Unknown tags are returned unchanged; the result for an empty property or a group is 0.
     * Errors: `PropertyNotFound`.
     * Locks: takes the lock.
     */
    Type readPropertyType(std::string const& name, Type* elementType) const;

    ///@{
    /**
     * The writers store a value under `name` in `scope`, replacing any previous value, and create the property and its
     * groups if they do not exist. Before returning they notify the listeners, except those whose owner is `sender`. A
     * value that equals the old one is written and announced as well. They do not save. `value` is not read before the
     * lock is held, so callers may guard it with that lock.
     * Errors: `utils::Exception` if the property cannot be opened for writing: its path and " no such property" from
     * `_writeString`, `name` and " no such property." from the others, with no listener notified. Exceptions of
     * listeners, with the value written; the name stays pending, and is announced again with the next change.
     * Locks: take the lock, and hold it while they notify.
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
     * The readers store the value of `name`, from the first scope that has it, in the caller's variable, replacing its
     * content. They do not convert one kind of value to another.
     * Errors: `PropertyNotFound` if no scope has the name; `PropertyBadType` if the value is of another kind or the
     * name is a group (for `_readString` a group is `PropertyNotFound`). In these cases the variable is unchanged.
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
     * Announces every pending name, in byte order: notifies the listeners registered under it, then those under each
     * enclosing group, innermost first, except the listeners whose owner is `sender`. The names stay pending until
     * every listener has been called. If called from inside a listener, it skips the names that are already being
     * announced.
     * Errors: exceptions of listeners. In this case the remaining listeners are not called, and every name stays
     * pending.
     * Locks: takes the lock.
     */
    void notify(void* sender);

    /**
     * Announces a change to `name` that no writer has made, such as a removal, together with all pending names.
     * Locks: takes the lock for the announcement only. Intentional: recording takes no lock, so call this with the lock
     * held, or while no other thread uses the register.
     */
    void markAsChanged(void* sender, std::string const& name);

    /**
     * Registers a listener under the name of a property, or under the name of a group for everything in it. A listener
     * with several entries is called once for each entry that matches; the entries of one key are called in the order
     * in which they were added. Keys and names are compared as written, byte by byte: a listener under "a/b" is not
     * notified of "/a/b" or "a//b", and a key must not end in "/". An entry added while the entries of its key are
     * being called is not called until the next change.
     * Errors: `utils::Exception` "Null callback.".
     * Locks: takes the lock.
     * Owner: the caller keeps the listener.
     */
    void addCallback(std::string const& key, Callback* callback);

    /**
     * Removes every entry of a listener under one key; does nothing if there are no such entries. When it returns, no
     * other thread is calling the listener because of these entries, and none will.
     * Locks: takes the lock.
     */
    void removeCallback(std::string const& key, Callback* callback);

    /**
     * Removes every entry of a listener under any key; otherwise like the overload with a key.
     * Locks: takes the lock.
     */
    void removeCallback(Callback* callback);

    /** The process-wide lock, never destroyed. Callers may hold it around several operations. */
    static boost::recursive_mutex* _mutex;

protected:
    /** Creates the three scopes and loads the register files. Only `getInstance()` creates the process's register. */
    _Register();

    static std::string _VL_REGISTER_NAME;   ///< the register file's name in both directories
    static std::string _TempRegisterPath;   ///< not read by the register
    static std::string _GlobalRegisterPath; ///< the directory of the global register file
    static std::string _UserRegisterPath;   ///< the directory of the user register file
    static bool _haveGlobalRegister;        ///< whether `load` reads the global register file

    std::set<std::string> _changedProperties;         ///< names changed and not yet completely announced
    std::multimap<std::string, Callback*> _callbacks; ///< listeners by name; the pointers are not owned

private:
    friend struct ValueWriter;

    static bool _test_register_file(std::string const& root);

    /** `markAsChanged` for the writers. The lock must be held. Without listeners nothing is recorded. */
    void announceChange(void* sender, std::string const& name);
};

} // namespace utils::properties
