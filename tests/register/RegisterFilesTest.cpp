// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <iterator>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "notification/Listener.h"
#include "register/FileWatch.h"
#include "register/RegisterFile.h"
#include "register/Scopes.h"
#include "support/Failure.h"
#include "support/FileSizeLimit.h"
#include "support/RegisterProbe.h"
#include "support/TemporaryDirectory.h"

using filesystem::FileHandle;
using notification::Listener;
using support::failure;
using support::FileSizeLimit;
using support::lockIsFree;
using support::RegisterProbe;
using support::TemporaryDirectory;

namespace {

/** Sets the static paths to the two directories, and enables the global one. */
void useBoth(TemporaryDirectory const& global, TemporaryDirectory const& user) {
    RegisterProbe::_GlobalRegisterPath = global.string();
    RegisterProbe::_UserRegisterPath = user.string();
    RegisterProbe::_haveGlobalRegister = true;
}

/** The names at the top level of the three scopes. */
Names everything(RegisterProbe const& settings) {
    Names result;
    for (RegisterScope const scope : allScopes)
        for (std::string const& name : names(settings.propertyList("", scope)))
            result.push_back(settings._nameToPath(name, scope));
    return result;
}

} // namespace

TEST(Load, LeavesTheScopesEmptyWithoutAFile) {
    TemporaryDirectory const global;
    TemporaryDirectory const user;
    useBoth(global, user);
    RegisterProbe const settings;
    EXPECT_EQ(Names{}, everything(settings));
    EXPECT_TRUE(settings.groupExists("", SCOPE_GLOBAL));
    EXPECT_TRUE(settings.groupExists("", SCOPE_USER));
}

TEST(Load, LeavesTheScopesEmptyWithEmptyPaths) {
    RegisterProbe::_haveGlobalRegister = true;
    RegisterProbe const settings;
    EXPECT_EQ(Names{}, everything(settings));
}

TEST(Load, LeavesTheScopesEmptyWithMissingDirectories) {
    TemporaryDirectory const directory;
    RegisterProbe::_haveGlobalRegister = true;
    RegisterProbe::_GlobalRegisterPath = (directory / "global").string();
    RegisterProbe::_UserRegisterPath = (directory / "user").string();
    RegisterProbe const settings;
    EXPECT_EQ(Names{}, everything(settings));
}

TEST(Load, FillsTheUserScopeFromTheUserFile) {
    TemporaryDirectory const global;
    TemporaryDirectory const user;
    saveInteger(user.string(), "g/x", 7);
    useBoth(global, user);
    RegisterProbe settings;
    EXPECT_EQ((Names{"/user/g"}), everything(settings));
    EXPECT_EQ(7, integer(settings, "g/x"));
}

TEST(Load, FillsTheGlobalScopeFromTheGlobalFile) {
    TemporaryDirectory const global;
    TemporaryDirectory const user;
    saveInteger(global.string(), "g/x", 8);
    useBoth(global, user);
    RegisterProbe settings;
    EXPECT_EQ((Names{"/global/g"}), everything(settings));
    EXPECT_EQ(8, integer(settings, "g/x"));
}

TEST(Load, FillsEachScopeFromItsOwnFile) {
    TemporaryDirectory const global;
    TemporaryDirectory const user;
    saveInteger(global.string(), "of the system", 1);
    saveInteger(user.string(), "of the user", 2);
    useBoth(global, user);
    RegisterProbe const settings;
    EXPECT_EQ((Names{"/global/of the system", "/user/of the user"}), everything(settings));
}

TEST(Load, DoesNotReadTheGlobalFileWithoutAGlobalRegister) {
    TemporaryDirectory const global;
    TemporaryDirectory const user;
    saveInteger(global.string(), "x", 1);
    useBoth(global, user);
    RegisterProbe::_haveGlobalRegister = false;
    FileWatch watch(global.string(), registerFileName);
    RegisterProbe const settings;
    EXPECT_EQ(Names{}, everything(settings));
    EXPECT_EQ(0, watch.readings());
}

TEST(Load, ReadsTheGlobalFileFirstAndEachOnce) {
    TemporaryDirectory const global;
    TemporaryDirectory const user;
    saveInteger(global.string(), "x", 1);
    saveInteger(user.string(), "x", 2);
    RegisterProbe settings;
    useBoth(global, user);
    FileWatch globalWatch(global.string(), registerFileName);
    FileWatch userWatch(user.string(), registerFileName);
    settings.load();
    EXPECT_EQ((Calls{"unserialize /global/", "unserialize /user/"}), settings.takeCalls());
    EXPECT_EQ(1, globalWatch.readings());
    EXPECT_EQ(1, userWatch.readings());
}

TEST(Load, DoesNotReadTheUserFileIfTheGlobalOneFails) {
    TemporaryDirectory const global;
    TemporaryDirectory const user;
    saveInteger(global.string(), "x", 1);
    saveInteger(user.string(), "x", 2);
    RegisterProbe settings;
    useBoth(global, user);
    settings.failCall("unserialize");
    EXPECT_EQ("std: unserialize fails", failure([&] { settings.load(); }));
    EXPECT_EQ((Calls{"unserialize /global/"}), settings.takeCalls());
}

TEST(Load, AcceptsADirectoryWithATrailingSlash) {
    TemporaryDirectory const user;
    saveInteger(user.string(), "x", 3);
    EXPECT_EQ(3, savedInteger(user.string() + "/", "x"));
}

TEST(SecondLoad, ReplacesTheScopesWhoseFilesExist) {
    TemporaryDirectory const global;
    TemporaryDirectory const user;
    useBoth(global, user);
    RegisterProbe settings;
    settings._writeInteger(nullptr, "unsaved", 1, SCOPE_GLOBAL);
    settings._writeInteger(nullptr, "unsaved", 2, SCOPE_USER);
    settings._writeInteger(nullptr, "temporary", 3, SCOPE_TEMPORARY);
    saveInteger(global.string(), "of the system", 4);
    saveInteger(user.string(), "of the user", 5);
    useBoth(global, user);
    settings.load();
    EXPECT_EQ((Names{"/global/of the system", "/user/of the user", "/temp/temporary"}), everything(settings));
}

TEST(SecondLoad, KeepsAScopeWhoseFileIsMissing) {
    TemporaryDirectory const global;
    TemporaryDirectory const user;
    saveInteger(global.string(), "x", 1);
    saveInteger(user.string(), "x", 2);
    useBoth(global, user);
    RegisterProbe settings;
    settings._writeInteger(nullptr, "unsaved", 3, SCOPE_GLOBAL);
    settings._writeInteger(nullptr, "unsaved", 4, SCOPE_USER);
    std::filesystem::remove(global / registerFileName);
    std::filesystem::remove(user / registerFileName);
    settings.load();
    EXPECT_EQ((Names{"/global/unsaved", "/global/x", "/user/unsaved", "/user/x"}), everything(settings));
}

TEST(SecondLoad, NotifiesNoListener) {
    TemporaryDirectory const user;
    saveInteger(user.string(), "x", 1);
    RegisterProbe settings;
    Listener listener;
    settings.addCallback("x", &listener);
    RegisterProbe::_UserRegisterPath = user.string();
    settings.load();
    RegisterProbe::_UserRegisterPath.clear();
    EXPECT_EQ(1, integer(settings, "x"));
    EXPECT_TRUE(listener.told.empty());
    EXPECT_TRUE(settings._changedProperties.empty());
}

TEST(Save, CreatesTheFirstFile) {
    TemporaryDirectory const user;
    RegisterProbe::_UserRegisterPath = user.string();
    RegisterProbe const settings;
    EXPECT_FALSE(std::filesystem::exists(user / registerFileName));
    settings.save();
    EXPECT_TRUE(std::filesystem::exists(user / registerFileName));
}

TEST(Save, SerialisesTheUserScope) {
    TemporaryDirectory const user;
    RegisterProbe settings;
    RegisterProbe::_UserRegisterPath = user.string();
    settings.save();
    EXPECT_EQ((Calls{"serialize /user/"}), settings.takeCalls());
}

TEST(Save, WritesNeitherTheGlobalNorTheTemporaryScope) {
    TemporaryDirectory const user;
    saveRegisterFile(user.string(), [](RegisterProbe& settings) {
        settings._writeInteger(nullptr, "global", 1, SCOPE_GLOBAL);
        settings._writeInteger(nullptr, "user", 2, SCOPE_USER);
        settings._writeInteger(nullptr, "temporary", 3, SCOPE_TEMPORARY);
    });
    EXPECT_EQ((Names{"/user/user"}), everything(*loadedFrom(user.string())));
}

TEST(Save, DoesNotWriteTheGlobalFile) {
    TemporaryDirectory const global;
    TemporaryDirectory const user;
    saveInteger(global.string(), "x", 1);
    std::string const before = fileBytes(global / registerFileName);
    FileWatch watch(global.string(), registerFileName);
    useBoth(global, user);
    RegisterProbe settings;
    settings._writeInteger(nullptr, "x", 2, SCOPE_GLOBAL);
    settings.save();
    EXPECT_EQ(before, fileBytes(global / registerFileName));
    EXPECT_EQ(0, watch.replacements());
}

TEST(Save, ReplacesTheContentOfTheFile) {
    TemporaryDirectory const user;
    saveInteger(user.string(), "old", 1);
    saveInteger(user.string(), "new", 2);
    EXPECT_EQ((Names{"/user/new"}), everything(*loadedFrom(user.string())));
}

TEST(Save, KeepsGroupsAndTheBytesOfEveryRecord) {
    TemporaryDirectory const user;
    std::string bytes;
    for (int value = 0; value < 256; ++value)
        bytes += static_cast<char>(value);
    saveRegisterFile(user.string(), [&](RegisterProbe& settings) {
        settings.addGroup("empty group", SCOPE_USER);
        settings.addProperty("g/empty property", SCOPE_USER);
        settings.store("/user/g/bytes", bytes);
    });
    auto const settings = loadedFrom(user.string());
    EXPECT_TRUE(settings->groupExists("empty group", SCOPE_USER));
    EXPECT_EQ("", settings->content("/user/g/empty property"));
    EXPECT_EQ(bytes, settings->content("/user/g/bytes"));
}

TEST(Save, GivesEqualBytesForEqualSettings) {
    TemporaryDirectory const one;
    TemporaryDirectory const other;
    saveRegisterFile(one.string(), [](RegisterProbe& settings) {
        settings._writeInteger(nullptr, "a", 1, SCOPE_USER);
        settings._writeInteger(nullptr, "b/c", 2, SCOPE_USER);
    });
    saveRegisterFile(other.string(), [](RegisterProbe& settings) {
        settings._writeInteger(nullptr, "b/c", 2, SCOPE_USER);
        settings._writeInteger(nullptr, "a", 0, SCOPE_USER);
        settings._writeInteger(nullptr, "a", 1, SCOPE_USER);
    });
    EXPECT_EQ(fileBytes(one / registerFileName), fileBytes(other / registerFileName));
}

TEST(Save, WritesAnEmptyTreeForADeletedScope) {
    TemporaryDirectory const user;
    TemporaryDirectory const empty;
    saveRegisterFile(empty.string(), [](RegisterProbe&) {});
    saveRegisterFile(user.string(), [](RegisterProbe& settings) {
        settings.addProperty("x", SCOPE_USER);
        settings.delProperty("", SCOPE_USER);
    });
    EXPECT_EQ(fileBytes(empty / registerFileName), fileBytes(user / registerFileName));
    EXPECT_EQ(Names{}, names(loadedFrom(user.string())->propertyList("", SCOPE_USER)));
}

TEST(Save, WritesAnEmptyTreeForAFileInPlaceOfTheScope) {
    TemporaryDirectory const user;
    TemporaryDirectory const empty;
    saveRegisterFile(empty.string(), [](RegisterProbe&) {});
    saveInteger(user.string(), "x", 1);
    saveRegisterFile(user.string(), [](RegisterProbe& settings) {
        settings.delProperty("", SCOPE_USER);
        settings.store("/user", "text");
    });
    EXPECT_EQ(fileBytes(empty / registerFileName), fileBytes(user / registerFileName));
}

namespace {

/** A register that writes `bytes` instead of the user scope, and reports a failure. */
struct Unsuccessful : RegisterProbe {
    explicit Unsuccessful(std::string content) : bytes(std::move(content)) {}

    using RegisterProbe::serialize;
    bool serialize(QString const& /*path*/, FileHandle& handle) const override {
        handle.fileSystem().write(&handle, bytes.data(), static_cast<long>(bytes.size()));
        return false;
    }

    std::string bytes;
};

} // namespace

TEST(Save, ClosesTheFileEvenIfSerialisingFails) {
    TemporaryDirectory const user;
    saveInteger(user.string(), "x", 1);
    Unsuccessful const settings("all there is");
    RegisterProbe::_UserRegisterPath = user.string();
    settings.save();
    RegisterProbe::_UserRegisterPath.clear();
    EXPECT_EQ("all there is", fileBytes(user / registerFileName));
}

TEST(Save, KeepsTheFileIfAWriteFails) {
    TemporaryDirectory const user;
    saveInteger(user.string(), "x", 1);
    std::string const before = fileBytes(user / registerFileName);
    Unsuccessful const settings(std::string(1'000'000, 'x')); // larger than all buffers
    RegisterProbe::_UserRegisterPath = user.string();
    {
        FileSizeLimit const limit(1'000);
        settings.save();
    }
    RegisterProbe::_UserRegisterPath.clear();
    EXPECT_EQ(before, fileBytes(user / registerFileName));
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(user.path()), {}));
}

TEST(Save, IsSilentWithoutADirectory) {
    TemporaryDirectory const directory;
    RegisterProbe settings;
    for (std::string const& missing : {std::string(), (directory / "missing").string()}) {
        RegisterProbe::_UserRegisterPath = missing;
        EXPECT_EQ("nothing", failure([&] { settings.save(); }));
    }
    EXPECT_EQ(Calls{}, settings.takeCalls());
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST(Save, IsSilentWhenADirectoryIsInTheWay) {
    TemporaryDirectory const directory;
    std::filesystem::create_directory(directory / registerFileName);
    RegisterProbe settings;
    RegisterProbe::_UserRegisterPath = directory.string();
    EXPECT_EQ("nothing", failure([&] { settings.save(); }));
    EXPECT_TRUE(std::filesystem::is_directory(directory / registerFileName));
}

TEST(Save, PropagatesAFailureOfTheFileSystemAndKeepsTheFile) {
    TemporaryDirectory const user;
    saveInteger(user.string(), "x", 1);
    std::string const before = fileBytes(user / registerFileName);
    RegisterProbe settings;
    settings._writeInteger(nullptr, "x", 2, SCOPE_USER);
    RegisterProbe::_UserRegisterPath = user.string();
    settings.failCall("serialize");
    EXPECT_EQ("std: serialize fails", failure([&] { settings.save(); }));
    EXPECT_EQ(before, fileBytes(user / registerFileName));
    EXPECT_TRUE(lockIsFree());
    RegisterProbe::_UserRegisterPath.clear();
}

TEST(Save, AcceptsADirectoryWithANonAsciiName) {
    TemporaryDirectory const directory;
    std::filesystem::path const user = directory / "Pr\xc3\xa4"
                                                   "ferenzen \xe6\x97\xa5";
    std::filesystem::create_directory(user);
    saveInteger(user.string(), "x", 5);
    EXPECT_TRUE(std::filesystem::exists(user / registerFileName));
    EXPECT_EQ(5, savedInteger(user.string(), "x"));
}

TEST(Destructor, SavesTheUserScope) {
    TemporaryDirectory const user;
    RegisterProbe::_UserRegisterPath = user.string();
    {
        RegisterProbe settings;
        settings._writeInteger(nullptr, "x", 6, SCOPE_USER);
    }
    EXPECT_EQ(6, savedInteger(user.string(), "x"));
}

TEST(Destructor, SavesOnceWithoutTakingTheLock) {
    TemporaryDirectory const user;
    RegisterProbe::_UserRegisterPath = user.string();
    FileWatch watch(user.string(), registerFileName);
    {
        RegisterProbe const settings;
        EXPECT_EQ(0, watch.replacements());
    }
    EXPECT_EQ(1, watch.replacements());
    EXPECT_TRUE(lockIsFree());
}
