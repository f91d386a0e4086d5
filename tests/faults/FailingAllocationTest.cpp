// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "faults/Allocation.h"
#include "notification/Listener.h"
#include "register/RegisterFile.h"
#include "support/ChildProcess.h"
#include "support/RegisterProbe.h"
#include "support/TemporaryDirectory.h"
#include "values/Kinds.h"

// Every allocation of every operation fails once, each in its own process. The operation must throw, unless it can do
// without the memory. The state must be the one before or the one after the operation, the lock must be free, and the
// next call must succeed.

namespace {

using faults::Afterwards;
using faults::FailingAllocation;
using support::RegisterProbe;
using utils::properties::_Register;
using utils::properties::SCOPE_GLOBAL;
using utils::properties::SCOPE_TEMPORARY;
using utils::properties::SCOPE_USER;

/** A child's exit status if the operation made fewer allocations. */
constexpr int nothingFailed = 42;

// Too long to be stored without allocating memory, in a node or in a `std::string`.
std::string const outer = "a group whose name is longer than fits in a node";
std::string const inner = outer + "/another group whose name is longer than fits in a node";
std::string const inGroups = inner + "/a property whose name is longer than fits in a node";
std::string const onTop = "a property on top whose name is longer than fits in a node";
std::string const there = outer + "/an existing property whose name is longer than fits in a node";

/** A derived register, which does not use the fast paths and, unlike a probe, allocates no memory itself. */
class Derived : public _Register {
public:
    Derived() = default;
};

/** The objects that an operation uses. Its preparation fills them. */
struct World {
    _Register& settings;
    std::string directory; ///< of the register file; empty at first
    notification::Listener listener;

    World(_Register& register_, std::string where) : settings(register_), directory(std::move(where)) {}
};

enum class Form { Plain, Derived };

std::ostream& operator<<(std::ostream& stream, Form form) {
    return stream << (form == Form::Plain ? "Plain" : "Derived");
}

/**
 * The form of the register in which an operation makes its changes one by one: it writes field by field, or creates
 * group by group. If it fails there, the changes made so far may remain; everything else must be unchanged.
 */
enum class InSteps { nowhere, whenDerived };

/** An operation, its preparation, and the check to be made after it has succeeded. */
struct Operation {
    std::string name;
    std::function<void(World&)> prepare;
    std::function<void(World&)> call;
    std::function<void(World&)> check;
    bool needsMemory; ///< whether it allocates memory in every form and build
    InSteps inSteps = InSteps::nowhere;
    std::string own = {}; ///< the outermost name in the user scope that the steps change
};

/** A value that allocates memory, if its kind can. */
template <class Kind>
typename Kind::Value makeLarge() {
    if constexpr (std::is_same_v<Kind, kinds::String>)
        return std::string(200, 'v');
    else if constexpr (std::is_same_v<Kind, kinds::Number> || std::is_same_v<Kind, kinds::Integer> ||
                       std::is_same_v<Kind, kinds::Boolean>)
        return Kind::one();
    else
        return kinds::longList<Kind>(300);
}

template <class Kind>
typename Kind::Value const& large() {
    static typename Kind::Value const value = makeLarge<Kind>();
    return value;
}

template <class Kind>
Operation writing(std::string const& what, std::string const& name, bool needsMemory, InSteps inSteps,
                  std::string const& own) {
    static_cast<void>(large<Kind>()); // before allocations fail
    return {"Write" + std::string(Kind::name) + what,
            [](World& world) { world.settings._writeInteger(nullptr, there, 1, SCOPE_USER); },
            [name](World& world) { Kind::write(world.settings, nullptr, name, large<Kind>(), SCOPE_USER); },
            [name](World& world) {
                EXPECT_EQ(kinds::recordOf<Kind>(large<Kind>()),
                          kinds::recordOf<Kind>(Kind::read(world.settings, name)));
            },
            needsMemory,
            inSteps,
            own};
}

template <class Kind>
Operation reading() {
    constexpr bool isLarge = std::is_same_v<Kind, kinds::String> || std::string_view(Kind::tags).size() == 2;
    return {"Read" + std::string(Kind::name),
            [](World& world) { Kind::write(world.settings, nullptr, there, large<Kind>(), SCOPE_GLOBAL); },
            [](World& world) {
                typename Kind::Value value{};
                Kind::read(world.settings, there, value);
            },
            [](World& world) {
                EXPECT_EQ(kinds::recordOf<Kind>(large<Kind>()),
                          kinds::recordOf<Kind>(Kind::read(world.settings, there)));
            },
            isLarge};
}

/** If the read fails, the list must be unchanged or contain the first elements of the stored list. */
Operation readingIntoAUsedList() {
    // Long elements, so that reading each of them allocates memory.
    static std::vector<std::string> const whole(5, std::string(200, 'v'));
    Operation operation = reading<kinds::Strings>();
    operation.name = "ReadStringsIntoAUsedList";
    operation.prepare = [](World& world) {
        kinds::Strings::write(world.settings, nullptr, there, whole, SCOPE_GLOBAL);
    };
    operation.check = [](World& world) { EXPECT_EQ(whole, kinds::Strings::read(world.settings, there)); };
    operation.call = [](World& world) {
        std::vector<std::string> const before = {"1", "2", "3"};
        std::vector<std::string> list = before;
        try {
            world.settings._readStrings(there, list);
        } catch (std::bad_alloc const&) {
            EXPECT_TRUE(list == before ||
                        (list.size() <= whole.size() && std::equal(list.begin(), list.end(), whole.begin())));
            throw;
        }
    };
    return operation;
}

void addThere(World& world) {
    world.settings._writeString(nullptr, there, std::string(200, 'v'), SCOPE_USER);
}

void nothing(World& /*world*/) {}

/** Catches the exception that an operation is expected to throw. */
template <class Call>
void refused(Call&& call) {
    try {
        call();
    } catch (utils::Exception const&) {
        return;
    } catch (utils::properties::PropertyNotFound const&) {
        return;
    } catch (utils::properties::PropertyBadType const&) {
        return;
    }
    ADD_FAILURE() << "no exception";
}

/** While an object exists, the register saves to the world's directory and loads from it. */
class OnDisk {
public:
    explicit OnDisk(World& world) { RegisterProbe::_UserRegisterPath = world.directory; }
    OnDisk(OnDisk const&) = delete;
    OnDisk& operator=(OnDisk const&) = delete;
    ~OnDisk() { RegisterProbe::_UserRegisterPath.clear(); }
};

std::vector<Operation> operations() {
    std::vector<Operation> list;
    kinds::forEach([&](auto kind) {
        using Kind = decltype(kind);
        list.push_back(writing<Kind>("InNewGroups", inGroups, true, InSteps::whenDerived, inner));
        list.push_back(writing<Kind>("OnTop", onTop, true, InSteps::whenDerived, onTop));
        list.push_back(writing<Kind>("Again", there, false, InSteps::whenDerived, there));
        list.push_back(reading<Kind>());
    });
    list.push_back(readingIntoAUsedList());
    list.push_back({"ReadAnotherKind", addThere,
                    [](World& world) {
                        int value = 0;
                        refused([&] { world.settings._readInteger(there, value); });
                    },
                    nothing, true});
    list.push_back({"ReadAMissingProperty", nothing,
                    [](World& world) {
                        int value = 0;
                        refused([&] { world.settings._readInteger(there, value); });
                    },
                    nothing, true});
    list.push_back(
        {"ReadPropertyType", addThere, [](World& world) { world.settings.readPropertyType(there, nullptr); },
         [](World& world) {
             EXPECT_EQ(utils::properties::TYPE_STRING, world.settings.readPropertyType(there, nullptr));
         },
         false});
    list.push_back(
        {"AddGroup", addThere, [](World& world) { world.settings.addGroup(outer + "/" + onTop, SCOPE_USER); },
         [](World& world) { EXPECT_TRUE(world.settings.groupExists(outer + "/" + onTop, SCOPE_USER)); },
         true});
    list.push_back({"AddGroups", addThere,
                    [](World& world) { world.settings.addGroup(inGroups, SCOPE_USER); },
                    [](World& world) { EXPECT_TRUE(world.settings.groupExists(inGroups, SCOPE_USER)); }, true,
                    InSteps::whenDerived, inner});
    list.push_back(
        {"AddProperty", addThere, [](World& world) { world.settings.addProperty(onTop, SCOPE_USER); },
         [](World& world) { EXPECT_TRUE(world.settings.propertyExists(onTop, SCOPE_USER)); }, true});
    list.push_back({"AddPropertyInNewGroups", nothing,
                    [](World& world) { world.settings.addProperty(inGroups, SCOPE_USER); },
                    [](World& world) { EXPECT_TRUE(world.settings.propertyExists(inGroups, SCOPE_USER)); },
                    true, InSteps::whenDerived, outer});
    list.push_back(
        {"DelProperty", addThere, [](World& world) { world.settings.delProperty(there, SCOPE_USER); },
         [](World& world) { EXPECT_FALSE(world.settings.propertyExists(there, SCOPE_USER)); }, true});
    list.push_back({"DelGroup", addThere, [](World& world) { world.settings.delProperty(outer, SCOPE_USER); },
                    [](World& world) { EXPECT_FALSE(world.settings.propertyExists(outer, SCOPE_USER)); },
                    true});
    list.push_back({"GroupExists", addThere,
                    [](World& world) { EXPECT_TRUE(world.settings.groupExists(outer, SCOPE_USER)); }, nothing,
                    false});
    list.push_back({"GroupExistsInAnyScope", addThere,
                    [](World& world) { EXPECT_TRUE(world.settings.groupExists(outer)); }, nothing, false});
    list.push_back({"PropertyExists", addThere,
                    [](World& world) { EXPECT_TRUE(world.settings.propertyExists(there, SCOPE_USER)); },
                    nothing, false});
    list.push_back({"PropertyExistsInAnyScope", addThere,
                    [](World& world) { EXPECT_TRUE(world.settings.propertyExists(there)); }, nothing, false});
    list.push_back(
        {"PropertyList",
         [](World& world) {
             addThere(world);
             world.settings.addGroup(inner, SCOPE_USER);
         },
         [](World& world) { EXPECT_EQ(2U, world.settings.propertyList(outer, SCOPE_USER).size()); }, nothing,
         true});
    list.push_back(
        {"PropertyListRepeatedly",
         [](World& world) {
             addThere(world);
             static_cast<void>(world.settings.propertyList(outer, SCOPE_USER));
         },
         [](World& world) { EXPECT_EQ(1U, world.settings.propertyList(outer, SCOPE_USER).size()); }, nothing,
         true});
    list.push_back({"PropertyListOfAMissingGroup", nothing,
                    [](World& world) {
                        refused([&] { static_cast<void>(world.settings.propertyList(outer, SCOPE_USER)); });
                    },
                    nothing, true});
    list.push_back({"OpenProperty", addThere,
                    [](World& world) {
                        world.settings.closeProperty(
                            *world.settings.openProperty(there, _Register::MODE_READ, SCOPE_USER));
                    },
                    nothing, true});
    list.push_back({"OpenPropertyForWriting", addThere,
                    [](World& world) {
                        world.settings.closeProperty(
                            *world.settings.openProperty(onTop, _Register::MODE_WRITE, SCOPE_USER));
                    },
                    [](World& world) { EXPECT_TRUE(world.settings.propertyExists(onTop, SCOPE_USER)); },
                    true});
    list.push_back({"OpenAMissingProperty", addThere,
                    [](World& world) {
                        refused([&] {
                            static_cast<void>(
                                world.settings.openProperty(onTop, _Register::MODE_READ, SCOPE_USER));
                        });
                    },
                    nothing, true});
    list.push_back({"AddCallback", nothing,
                    [](World& world) { world.settings.addCallback(there, &world.listener); },
                    [](World& world) {
                        addThere(world);
                        EXPECT_FALSE(world.listener.told.empty());
                    },
                    true});
    list.push_back({"RemoveCallback",
                    [](World& world) {
                        world.settings.addCallback(there, &world.listener);
                        world.settings.addCallback(outer, &world.listener);
                    },
                    [](World& world) {
                        world.settings.removeCallback(there, &world.listener);
                        world.settings.removeCallback(&world.listener);
                    },
                    [](World& world) {
                        addThere(world);
                        EXPECT_TRUE(world.listener.told.empty());
                    },
                    false});
    list.push_back({"WriteWithListener",
                    [](World& world) {
                        world.settings._writeInteger(nullptr, there, 1, SCOPE_USER);
                        world.settings.addCallback(outer, &world.listener);
                    },
                    addThere, [](World& world) { EXPECT_EQ(there, world.listener.told.back()); }, true,
                    InSteps::whenDerived, there});
    list.push_back({"MarkAsChanged", [](World& world) { world.settings.addCallback(outer, &world.listener); },
                    [](World& world) { world.settings.markAsChanged(nullptr, there); },
                    [](World& world) { EXPECT_EQ(there, world.listener.told.back()); }, true});
    list.push_back({"Notify",
                    [](World& world) {
                        world.settings.addCallback(outer, &world.listener);
                        forms::pending(world.settings) = {there, onTop};
                    },
                    [](World& world) { world.settings.notify(nullptr); },
                    [](World& world) {
                        EXPECT_EQ(there, world.listener.told.back());
                        EXPECT_TRUE(forms::pending(world.settings).empty());
                    },
                    true});
    list.push_back(
        {"Save",
         [](World& world) {
             OnDisk const onDisk(world);
             world.settings.save();
             addThere(world);
         },
         [](World& world) {
             OnDisk const onDisk(world);
             world.settings.save();
         },
         [](World& world) { EXPECT_TRUE(loadedFrom(world.directory)->propertyExists(there, SCOPE_USER)); },
         true});
    list.push_back({"Load",
                    [](World& world) {
                        // Saved by another register, so that this one has not allocated space for as many before.
                        saveRegisterFile(world.directory, [](_Register& other) {
                            other._writeInteger(nullptr, inGroups, 1, SCOPE_USER);
                            for (int i = 0; i < 100; ++i)
                                other._writeInteger(nullptr, std::to_string(i), i, SCOPE_USER);
                        });
                        world.settings._writeInteger(nullptr, onTop, 1, SCOPE_USER);
                        OnDisk const onDisk(world); // so that setting the path again needs no memory
                    },
                    [](World& world) {
                        OnDisk const onDisk(world);
                        world.settings.load();
                    },
                    [](World& world) {
                        EXPECT_EQ(1, integer(world.settings, inGroups));
                        EXPECT_FALSE(world.settings.propertyExists(onTop));
                    },
                    true});
    return list;
}

std::vector<Operation> const& allOperations() {
    static std::vector<Operation> const list = operations();
    return list;
}

/** The whole tree, serialised. */
std::string image(filesystem::RAMFileSystem const& files) {
    filesystem::RAMFileSystem disk;
    filesystem::FileHandle* handle = nullptr;
    disk.open(QStringLiteral("/image"), &handle, _Register::MODE_WRITE);
    EXPECT_TRUE(files.filesystem::RAMFileSystem::serialize(QStringLiteral("/"), *handle));
    disk.close(handle);
    disk.open(QStringLiteral("/image"), &handle, _Register::MODE_READ);
    return disk.readBytes(handle, static_cast<int>(disk.size(handle)));
}

/** The same tree without one name in the user scope. */
std::string without(std::string const& name, std::string const& bytes) {
    filesystem::RAMFileSystem disk;
    filesystem::FileHandle* handle = nullptr;
    disk.open(QStringLiteral("/image"), &handle, _Register::MODE_WRITE);
    disk.write(handle, bytes.data(), static_cast<long>(bytes.size()));
    disk.close(handle);
    disk.open(QStringLiteral("/image"), &handle, _Register::MODE_READ);
    filesystem::RAMFileSystem files;
    files.unserialize(*handle);
    files.remove(QStringLiteral("/user/") + QString::fromStdString(name));
    return image(files);
}

/** The register file in a directory that may contain nothing else; empty if it is missing. */
std::string fileIn(std::string const& directory) {
    for (auto const& entry : std::filesystem::directory_iterator(directory))
        EXPECT_EQ(registerFileName, entry.path().filename());
    std::filesystem::path const file = std::filesystem::path(directory) / registerFileName;
    return std::filesystem::exists(file) ? fileBytes(file) : std::string();
}

/**
 * The result of a call during which an allocation fails: "done", "bad_alloc", "no room for a file" if the register
 * reports that, or the message of any other exception, which the call must not throw.
 */
template <class Call>
std::string outcome(Call&& call) {
    try {
        call();
    } catch (std::bad_alloc const&) {
        return "bad_alloc";
    } catch (std::exception const& failure) {
        std::string const message = failure.what();
        bool const isNoRoom = message.find("Velmorand.dat: not enough memory to read ") != std::string::npos;
        return isNoRoom ? "no room for a file" : message;
    } catch (...) {
        return "something else";
    }
    return "done";
}

using Parameters = std::tuple<std::size_t, Form>;

std::string nameOf(testing::TestParamInfo<Parameters> const& info) {
    return allOperations()[std::get<0>(info.param)].name + testing::PrintToString(std::get<1>(info.param));
}

/** Makes each allocation of an attempt fail, each in its own process. Result: the number of allocations. */
template <class Attempt>
long failOneAfterAnother(Afterwards afterwards, Attempt const& attempt) {
    for (long nth = 1;; ++nth) {
        support::TemporaryDirectory const directory; // not in the child, which may end anywhere
        int const status = support::inChild([&] { attempt(directory.string(), nth, afterwards); });
        if (status == nothingFailed)
            return nth - 1;
        EXPECT_EQ(0, status) << "allocation " << nth;
        if (status != 0)
            return nth;
    }
}

/** Makes a call whose `nth` allocation fails; ends the process if it has fewer. Result: how the call ended. */
template <class Call>
std::string shortOfMemory(long nth, Afterwards afterwards, Call const& call) {
    std::string ended;
    bool failed = false;
    {
        FailingAllocation const fault(nth, afterwards);
        ended = outcome(call);
        failed = FailingAllocation::hasFailed();
    }
    EXPECT_TRUE(ended == "done" || (failed && (ended == "bad_alloc" || ended == "no room for a file")))
        << ended;
    EXPECT_TRUE(support::lockIsFree());
    if (!failed)
        std::exit(testing::Test::HasFailure() ? 1 : nothingFailed);
    return ended;
}

constexpr Afterwards both[] = {Afterwards::memoryIsThere, Afterwards::nothingIsLeft};

class FailingAllocations : public testing::TestWithParam<Parameters> {
protected:
    [[nodiscard]] static Operation const& operation() { return allOperations()[std::get<0>(GetParam())]; }
    [[nodiscard]] static bool isDerived() { return std::get<1>(GetParam()) == Form::Derived; }
    [[nodiscard]] static bool goesInSteps() {
        return operation().inSteps == InSteps::whenDerived && isDerived();
    }

    static void attempt(std::string const& directory, long nth, Afterwards afterwards) {
        std::unique_ptr<Derived> const derived(isDerived() ? new Derived : nullptr);
        World world(derived ? *derived : *_Register::getInstance(), directory);
        operation().prepare(world);
        std::string const before = image(world.settings);
        std::string const fileBefore = fileIn(world.directory);

        std::string const ended = shortOfMemory(nth, afterwards, [&] { operation().call(world); });
        std::string const now = image(world.settings);
        std::string const fileNow = fileIn(world.directory);

        EXPECT_EQ("done", outcome([&] { operation().call(world); }));
        std::string const after = image(world.settings);
        if (goesInSteps())
            EXPECT_TRUE(without(operation().own, now) == without(operation().own, before));
        else
            EXPECT_TRUE(now == before || now == after);
        EXPECT_TRUE(now == after || ended != "done");
        EXPECT_TRUE(fileNow == fileBefore || fileNow == fileIn(world.directory));
        operation().check(world);
        world.settings.removeCallback(&world.listener);
    }
};

TEST_P(FailingAllocations, LeaveTheStateBeforeOrAfterTheOperation) {
    for (Afterwards const afterwards : both) {
        long const failed = failOneAfterAnother(afterwards, attempt);
        EXPECT_TRUE(failed > 0 || !operation().needsMemory) << "no allocation has failed";
        RecordProperty(afterwards == Afterwards::nothingIsLeft ? "fromOneOn" : "one",
                       static_cast<int>(failed));
    }
}

INSTANTIATE_TEST_SUITE_P(Each, FailingAllocations,
                         testing::Combine(testing::Range(std::size_t{0}, allOperations().size()),
                                          testing::Values(Form::Plain, Form::Derived)),
                         nameOf);

/** Register files in a global and a user directory, and how a process starts and ends with them. */
class FailingStart : public testing::Test {
protected:
    FailingStart() {
        saveInteger(_global.string(), there, 1);
        saveInteger(_user.string(), inGroups, 2);
        _globalFile = fileIn(_global.string());
        _userFile = fileIn(_user.string());
    }

    void initialize() const { _Register::initialize(_global.string(), _user.string()); }

    void setPaths() const {
        RegisterProbe::_haveGlobalRegister = true;
        RegisterProbe::_GlobalRegisterPath = _global.string();
        RegisterProbe::_UserRegisterPath = _user.string();
    }

    /** Fails a start, checks the state, and starts again. */
    void attempt(long nth, Afterwards afterwards, std::function<void()> const& start) const {
        shortOfMemory(nth, afterwards, start);
        expectFilesUntouched();
        EXPECT_EQ("done", outcome(start));
        _Register& settings = *_Register::getInstance();
        EXPECT_EQ(1, integer(settings, there));
        EXPECT_EQ(2, integer(settings, inGroups));
        EXPECT_EQ(1U, settings.propertyList("", SCOPE_GLOBAL).size());
        EXPECT_EQ(1U, settings.propertyList("", SCOPE_USER).size());
    }

    void expectFilesUntouched() const {
        EXPECT_EQ(_globalFile, fileIn(_global.string()));
        EXPECT_EQ(_userFile, fileIn(_user.string()));
    }

    void expectStartsAgain(std::function<void()> const& start) const {
        for (Afterwards const afterwards : both) {
            long const failed =
                failOneAfterAnother(afterwards, [&](std::string const& /*directory*/, long nth,
                                                    Afterwards then) { attempt(nth, then, start); });
            EXPECT_LT(10, failed);
            RecordProperty(afterwards == Afterwards::nothingIsLeft ? "fromOneOn" : "one",
                           static_cast<int>(failed));
            expectFilesUntouched(); // even after the last save
        }
    }

private:
    support::TemporaryDirectory _global;
    support::TemporaryDirectory _user;
    std::string _globalFile;
    std::string _userFile;
};

TEST_F(FailingStart, InitializeStartsFromScratchTheNextTime) {
    expectStartsAgain([this] { initialize(); });
}

TEST_F(FailingStart, GetInstanceStartsFromScratchTheNextTime) {
    setPaths();
    expectStartsAgain([] { static_cast<void>(_Register::getInstance()); });
}

/** Destroys a register that has something to save. */
void attemptDestruction(std::string const& directory, long nth, Afterwards afterwards) {
    saveInteger(directory, there, 1);
    std::string const before = fileIn(directory);
    RegisterProbe::_UserRegisterPath = directory;
    auto* const settings = new Derived;
    settings->_writeInteger(nullptr, onTop, 2, SCOPE_USER);
    settings->save();
    std::string const after = fileIn(directory);
    writeFile(std::filesystem::path(directory) / registerFileName, before);

    shortOfMemory(nth, afterwards, [&] { delete settings; });
    RegisterProbe::_UserRegisterPath.clear();
    std::string const now = fileIn(directory);
    EXPECT_TRUE(now == before || now == after);
    EXPECT_EQ(1, savedInteger(directory, there));
}

TEST(FailingEnd, LeavesTheOldFileOrTheNewOne) {
    for (Afterwards const afterwards : both) {
        long const failed = failOneAfterAnother(afterwards, attemptDestruction);
        EXPECT_LT(10, failed);
        RecordProperty(afterwards == Afterwards::nothingIsLeft ? "fromOneOn" : "one",
                       static_cast<int>(failed));
    }
}

} // namespace
