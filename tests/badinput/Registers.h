// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "badinput/Leaves.h"
#include "badinput/Table.h"
#include "notification/Listener.h"
#include "support/Failure.h"
#include "support/RegisterProbe.h"
#include "values/Forms.h"
#include "values/Kinds.h"

namespace badinput {

using utils::properties::_Register;
using utils::properties::RegisterScope;
using utils::properties::SCOPE_GLOBAL;
using utils::properties::SCOPE_TEMPORARY;
using utils::properties::SCOPE_USER;

/** The arguments of a call. */
struct Arguments {
    std::string name;
    RegisterScope scope;
};

/** An operation of the register, and what it returns, as text. */
struct Operation {
    std::string name;
    std::function<std::string(_Register&, Arguments const&)> call;
    std::string written; ///< the record that it writes
};

inline std::string openedAndClosed(_Register& settings, Arguments const& arguments,
                                   filesystem::FileSystem::FileSystemMode mode) {
    filesystem::FileHandle* const handle = settings.openProperty(arguments.name, mode, arguments.scope);
    if (handle == nullptr)
        return "null";
    settings.closeProperty(*handle);
    return "handle";
}

/** Announces a change of the name to a listener that is registered under exactly that name. */
inline std::string announced(_Register& settings, std::string const& name, bool removedBefore) {
    notification::Listener listener;
    settings.addCallback(name, &listener);
    if (removedBefore)
        settings.removeCallback(name, &listener);
    settings.markAsChanged(nullptr, name);
    settings.removeCallback(&listener);
    return listener.told.empty() ? "" : listener.told == std::vector<std::string>{name} ? "told" : "told!";
}

template <class Kind>
Operation writer() {
    return {std::string("write") + Kind::name,
            [](_Register& settings, Arguments const& arguments) {
                Kind::write(settings, nullptr, arguments.name, Kind::one(), arguments.scope);
                return std::string();
            },
            kinds::recordOf<Kind>(Kind::one())};
}

/** Reads into a variable that already has a value, which a failed read must not change. */
template <class Kind>
Operation reader() {
    return {std::string("read") + Kind::name,
            [](_Register& settings, Arguments const& arguments) {
                typename Kind::Value value = Kind::one();
                try {
                    Kind::read(settings, arguments.name, value);
                } catch (...) {
                    EXPECT_TRUE(value == Kind::one()) << "the caller's variable has changed";
                    throw;
                }
                return kinds::recordOf<Kind>(value) == kinds::recordOf<Kind>(Kind::other()) ? "other"
                                                                                            : "value";
            },
            ""};
}

/** Every operation that takes a name, by its column in the tables. */
inline std::map<std::string, std::vector<Operation>> const& columns() {
    using filesystem::FileSystem;
    using Arg = Arguments const&;
    auto const one = [](std::string const& name, std::function<std::string(_Register&, Arg)> call) {
        return std::pair<std::string const, std::vector<Operation>>{name, {{name, std::move(call), ""}}};
    };
    static std::map<std::string, std::vector<Operation>> const all = {
        one("nameToPath", [](_Register& r, Arg a) { return '=' + r._nameToPath(a.name, a.scope); }),
        one("locateProperty", [](_Register& r, Arg a) { return '=' + r._locateProperty(a.name); }),
        one("addGroup", [](_Register& r, Arg a) { return r.addGroup(a.name, a.scope), ""; }),
        one("addProperty", [](_Register& r, Arg a) { return r.addProperty(a.name, a.scope), ""; }),
        one("delProperty", [](_Register& r, Arg a) { return r.delProperty(a.name, a.scope), ""; }),
        one("groupExists", [](_Register& r, Arg a) { return yesNo(r.groupExists(a.name, a.scope)); }),
        one("groupExistsAny", [](_Register& r, Arg a) { return yesNo(r.groupExists(a.name)); }),
        one("propExists", [](_Register& r, Arg a) { return yesNo(r.propertyExists(a.name, a.scope)); }),
        one("propExistsAny", [](_Register& r, Arg a) { return yesNo(r.propertyExists(a.name)); }),
        one("propertyList", [](_Register& r, Arg a) { return listed(r.propertyList(a.name, a.scope)); }),
        one("openToRead", [](_Register& r, Arg a) { return openedAndClosed(r, a, FileSystem::MODE_READ); }),
        one("openToWrite", [](_Register& r, Arg a) { return openedAndClosed(r, a, FileSystem::MODE_WRITE); }),
        one("readType",
            [](_Register& r, Arg a) {
                auto element = utils::properties::TYPE_LIST;
                int const type = r.readPropertyType(a.name, &element);
                EXPECT_EQ(utils::properties::TYPE_LIST, element);
                return '=' + std::to_string(type);
            }),
        one("removeCallback", [](_Register& r, Arg a) { return announced(r, a.name, true); }),
        one("markAsChanged", [](_Register& r, Arg a) { return announced(r, a.name, false); }),
        {"writeString", {writer<kinds::String>()}},
        {"writeTheRest",
         {writer<kinds::Number>(), writer<kinds::Integer>(), writer<kinds::Boolean>(),
          writer<kinds::Strings>(), writer<kinds::Numbers>(), writer<kinds::Integers>(),
          writer<kinds::Booleans>()}},
        {"readString", {reader<kinds::String>()}},
        {"readInteger", {reader<kinds::Integer>()}},
        {"readTheRest",
         {reader<kinds::Number>(), reader<kinds::Boolean>(), reader<kinds::Strings>(),
          reader<kinds::Numbers>(), reader<kinds::Integers>(), reader<kinds::Booleans>()}},
    };
    return all;
}

/** A cell for one of its column's operations, on one of the two forms of a register. */
struct Case {
    std::string row;
    Operation operation;
    std::string outcome;
    bool derived;

    [[nodiscard]] std::string name() const {
        return row + '_' + operation.name + (derived ? "_Derived" : "_Plain");
    }
    friend void PrintTo(Case const& one, std::ostream* out) { *out << one.name(); }
};

inline std::vector<Case> everyCase(std::vector<Cell> const& contract) {
    std::vector<Case> result;
    for (Cell const& cell : contract)
        for (Operation const& operation : columns().at(cell.column))
            for (bool const derived : {false, true})
                result.push_back({cell.row, operation, cell.outcome, derived});
    return result;
}

/** A register of one of the two forms, with the same few properties at the start of each case. */
class Subject {
public:
    explicit Subject(bool derived) : _derived(derived ? new support::RegisterProbe : nullptr) {
        restore(settings(), start());
    }

    [[nodiscard]] _Register& settings() const { return _derived ? *_derived : *_Register::getInstance(); }

    /** What an operation returned or threw, and everything it changed, in the notation of the table of names. */
    std::string outcome(Operation const& operation, Arguments const& arguments) {
        notification::Listener listener;
        bool const tells = operation.name.rfind("write", 0) == 0;
        if (tells)
            settings().addCallback(arguments.name, &listener);
        std::string result;
        std::string const failure = support::failure([&] { result = operation.call(settings(), arguments); });
        std::string text = failure == "nothing" ? result : "threw <" + failure + '>';
        settings().removeCallback(&listener);
        text += changes(operation.written);
        if (!listener.told.empty())
            text += listener.told == std::vector<std::string>{arguments.name} ? " told" : " told amiss";
        if (!forms::pending(settings()).empty())
            text += " pending";
        if (!support::lockIsFree())
            text += " locked";
        forms::pending(settings()).clear();
        return text.empty() ? "-" : text.front() == ' ' ? text.substr(1) : text;
    }

private:
    /** The integers "g/x" and "g/y" in the user scope, "p" in the global and "t" in the temporary one. */
    static std::string const& start() {
        static std::string const bytes = [] {
            support::RegisterProbe probe;
            probe._writeInteger(nullptr, "g/x", kinds::Integer::other(), SCOPE_USER);
            probe._writeInteger(nullptr, "g/y", 1, SCOPE_USER);
            probe._writeInteger(nullptr, "p", 2, SCOPE_GLOBAL);
            probe._writeInteger(nullptr, "t", 3, SCOPE_TEMPORARY);
            return serialized(probe);
        }();
        return bytes;
    }

    [[nodiscard]] std::string changes(std::string const& written) const {
        static Leaves const before = leaves(start());
        Leaves const after = leaves(serialized(settings()));
        std::string text;
        auto const told = [&](std::string const& content) {
            return content.empty() ? "" : content == written ? ":value" : ":" + content;
        };
        for (auto const& [path, content] : after) {
            auto const was = before.find(path);
            if (was == before.end())
                text += " +" + path + told(content);
            else if (was->second != content)
                text += " *" + path + told(content);
        }
        for (auto const& [path, content] : before)
            if (after.count(path) == 0)
                text += " -" + path;
        return text;
    }

    std::unique_ptr<support::RegisterProbe> _derived;
};

} // namespace badinput
