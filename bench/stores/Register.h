// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <utils/properties/Register.h>
#include <velmorand/Group.h>

#include "Names.h"
#include "Store.h"

namespace bench {

/**
 * This project's register: the user scope, then the global one. A process has only one. Used without the settings
 * library, except where a comment says otherwise.
 */
class Register : public Store {
public:
    static constexpr char const* label = "register";
    static constexpr bool hasNextScope = true;
    static constexpr bool hasListeners = true;

    Register(std::filesystem::path const& directory, Names const&) : _register(open(directory)) { clear(); }
    Register(Register const&) = delete;
    Register& operator=(Register const&) = delete;
    ~Register() { _register.removeCallback(&_listener); }

    void write(std::string const& name, int value) { _register._writeInteger(nullptr, name, value, user); }
    void write(std::string const& name, double value) { _register._writeNumber(nullptr, name, value, user); }
    void write(std::string const& name, bool value) { _register._writeBoolean(nullptr, name, value, user); }
    void write(std::string const& name, std::string const& value) {
        _register._writeString(nullptr, name, value, user);
    }
    void write(std::string const& name, std::vector<int> const& value) {
        _register._writeIntegers(nullptr, name, value, user);
    }
    void write(std::string const& name, std::vector<double> const& value) {
        _register._writeNumbers(nullptr, name, value, user);
    }
    void write(std::string const& name, std::vector<bool> const& value) {
        _register._writeBooleans(nullptr, name, value, user);
    }
    void write(std::string const& name, std::vector<std::string> const& value) {
        _register._writeStrings(nullptr, name, value, user);
    }

    void read(std::string const& name, int& value) { _register._readInteger(name, value); }
    void read(std::string const& name, double& value) { _register._readNumber(name, value); }
    void read(std::string const& name, bool& value) { _register._readBoolean(name, value); }
    void read(std::string const& name, std::string& value) { _register._readString(name, value); }
    void read(std::string const& name, std::vector<int>& value) { _register._readIntegers(name, value); }
    void read(std::string const& name, std::vector<double>& value) { _register._readNumbers(name, value); }
    void read(std::string const& name, std::vector<bool>& value) { _register._readBooleans(name, value); }
    void read(std::string const& name, std::vector<std::string>& value) {
        _register._readStrings(name, value);
    }

    int readOr(std::string const& name, int fallback) {
        if (!_register.propertyExists(name))
            return fallback;
        int value = 0;
        _register._readInteger(name, value);
        return value;
    }

    /** As applications list a group. */
    std::vector<std::string> list(std::string const& group) {
        return velmorand::Group(group).properties(user);
    }

    std::set<filesystem::DirEntry> entries(std::string const& group) {
        return _register.propertyList(group, user);
    }

    void clear() {
        for (auto const scope : {user, next}) {
            _register.delProperty("", scope);
            _register.addGroup("", scope);
        }
    }
    void save() { _register.save(); }
    void load() { _register.load(); }

    void writeNext(std::vector<std::string> const& names) {
        for (std::string const& name : names)
            _register._writeInteger(nullptr, name, nextScopeValue, next);
    }

    void listen(std::string const& group, long& calls) {
        _listener.calls = &calls;
        _register.addCallback(group, &_listener);
    }

private:
    struct Listener : utils::properties::_Register::Callback {
        long* calls = nullptr;
        void propertyChanged(std::string const&) override { ++*calls; }
        void* owner() override { return this; }
    };

    static constexpr auto user = utils::properties::SCOPE_USER;
    static constexpr auto next = utils::properties::SCOPE_GLOBAL;

    static utils::properties::_Register& open(std::filesystem::path const& directory) {
        utils::properties::_Register::initialize((directory / "no global file").string(), directory.string());
        return *utils::properties::_Register::getInstance();
    }

    utils::properties::_Register& _register;
    Listener _listener;
};

} // namespace bench
