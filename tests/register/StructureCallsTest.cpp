// SPDX-License-Identifier: Apache-2.0

// The file-system calls that the operations on groups and properties make, in order.

#include <set>
#include <string>

#include <gtest/gtest.h>

#include "register/Scopes.h"
#include "support/Failure.h"
#include "support/RegisterProbe.h"

using filesystem::FileHandle;
using filesystem::FileSystem;
using support::failure;
using support::RegisterProbe;

TEST(AddGroupCalls, CreatesTheMissingGroupsOutermostFirst) {
    RegisterProbe settings;
    settings.addGroup("a/b/q", SCOPE_USER);
    EXPECT_EQ(
        (Calls{"exists /user/a/b/q", "exists /user/a/b", "exists /user/a/b", "exists /user/a",
               "exists /user/a", "exists /user", "mkdir /user/a", "mkdir /user/a/b", "mkdir /user/a/b/q"}),
        settings.takeCalls());
    EXPECT_TRUE(settings.groupExists("a", SCOPE_USER));
    EXPECT_TRUE(settings.groupExists("a/b", SCOPE_USER));
    EXPECT_TRUE(settings.groupExists("a/b/q", SCOPE_USER));
}

TEST(AddGroupCalls, CreatesOnlyTheMissingGroups) {
    RegisterProbe settings;
    settings.addGroup("a", SCOPE_USER);
    settings.takeCalls();
    settings.addGroup("a/b", SCOPE_USER);
    EXPECT_EQ((Calls{"exists /user/a/b", "exists /user/a", "mkdir /user/a/b"}), settings.takeCalls());
}

TEST(AddGroupCalls, DoesNothingForAnExistingGroup) {
    RegisterProbe settings;
    settings.addProperty("a/b/x", SCOPE_USER);
    settings.takeCalls();
    settings.addGroup("a/b", SCOPE_USER);
    EXPECT_EQ((Calls{"exists /user/a/b"}), settings.takeCalls());
    EXPECT_TRUE(settings.propertyExists("a/b/x", SCOPE_USER));
}

TEST(AddGroupCalls, IsSilentWhenAPropertyIsInTheWay) {
    RegisterProbe settings;
    settings.addProperty("x", SCOPE_USER);
    settings.takeCalls();
    settings.addGroup("x/y/z", SCOPE_USER);
    EXPECT_EQ((Calls{"exists /user/x/y/z", "exists /user/x/y", "exists /user/x/y", "exists /user/x",
                     "mkdir /user/x/y", "mkdir /user/x/y/z"}),
              settings.takeCalls());
    EXPECT_FALSE(settings.propertyExists("x/y", SCOPE_USER));
}

TEST(AddGroupCalls, IsSilentIfADirectoryCannotBeCreated) {
    RegisterProbe settings;
    settings.mkdirAnswers["/user/a"] = false;
    settings.addGroup("a/b", SCOPE_USER);
    EXPECT_FALSE(settings.propertyExists("a"));
}

TEST(AddGroupCalls, DoesNothingForTheEmptyNameWhileTheScopeExists) {
    RegisterProbe settings;
    settings.addGroup("", SCOPE_USER);
    EXPECT_EQ((Calls{"exists /user/"}), settings.takeCalls());
}

TEST(GroupExistsCalls, ChecksWhetherThePathIsADirectory) {
    RegisterProbe settings;
    EXPECT_FALSE(settings.groupExists("g", SCOPE_GLOBAL));
    EXPECT_EQ((Calls{"isDirectory /global/g"}), settings.takeCalls());
}

TEST(GroupExistsCalls, WithoutScopeChecksTheGlobalThenTheUserThenTheTemporaryOne) {
    RegisterProbe settings;
    EXPECT_FALSE(settings.groupExists("g"));
    EXPECT_EQ((Calls{"isDirectory /global/g", "isDirectory /user/g", "isDirectory /temp/g"}),
              settings.takeCalls());
}

TEST(GroupExistsCalls, WithoutScopeStopsAtTheFirstThatHasIt) {
    RegisterProbe settings;
    settings.addGroup("g", SCOPE_USER);
    settings.addGroup("g", SCOPE_TEMPORARY);
    settings.takeCalls();
    EXPECT_TRUE(settings.groupExists("g"));
    EXPECT_EQ((Calls{"isDirectory /global/g", "isDirectory /user/g"}), settings.takeCalls());
}

TEST(PropertyListCalls, ChecksTheGroupBeforeListingIt) {
    RegisterProbe settings;
    settings.addGroup("g", SCOPE_USER);
    settings.takeCalls();
    (void)settings.propertyList("g", SCOPE_USER);
    EXPECT_EQ((Calls{"isDirectory /user/g", "getFileList /user/g"}), settings.takeCalls());
}

namespace {

/** A register whose file system lists "." and ".." among the entries of a directory. */
class RegisterWithDots : public RegisterProbe {
public:
    [[nodiscard]] std::set<filesystem::DirEntry> getFileList(QString const& path) const override {
        std::set<filesystem::DirEntry> entries = RegisterProbe::getFileList(path);
        for (char const* name : {".", "..", "...", ".hidden", "..x"})
            entries.insert({QString::fromUtf8(name)});
        return entries;
    }
};

} // namespace

TEST(PropertyListCalls, OmitsTheDirectoryItselfAndItsParent) {
    RegisterWithDots settings;
    settings.addProperty("g/x", SCOPE_USER);
    EXPECT_EQ((Names{"...", "..x", ".hidden", "x"}), names(settings.propertyList("g", SCOPE_USER)));
}

TEST(AddPropertyCalls, CreatesTheGroupsAndAnEmptyFile) {
    RegisterProbe settings;
    settings.addProperty("a/b/x", SCOPE_GLOBAL);
    EXPECT_EQ(
        (Calls{"exists /global/a/b/x", "exists /global/a/b", "exists /global/a", "exists /global/a",
               "exists /global", "mkdir /global/a", "mkdir /global/a/b", "open /global/a/b/x 1", "close"}),
        settings.takeCalls());
    EXPECT_TRUE(settings.groupExists("a/b", SCOPE_GLOBAL));
    EXPECT_EQ("", settings.content("/global/a/b/x"));
}

TEST(AddPropertyCalls, ChecksWhetherItsGroupExists) {
    RegisterProbe settings;
    settings.addGroup("a", SCOPE_USER);
    settings.takeCalls();
    settings.addProperty("a/x", SCOPE_USER);
    EXPECT_EQ((Calls{"exists /user/a/x", "exists /user/a", "open /user/a/x 1", "close"}),
              settings.takeCalls());
}

TEST(AddPropertyCalls, CreatesAPropertyDirectlyInTheScope) {
    RegisterProbe settings;
    settings.addProperty("x", SCOPE_USER);
    EXPECT_EQ((Calls{"exists /user/x", "exists /user/", "open /user/x 1", "close"}), settings.takeCalls());
    EXPECT_EQ("", settings.content("/user/x"));
}

TEST(AddPropertyCalls, DoesNotChangeAnExistingProperty) {
    RegisterProbe settings;
    settings.store("/user/x", "I*");
    settings.addProperty("x", SCOPE_USER);
    EXPECT_EQ((Calls{"exists /user/x"}), settings.takeCalls());
    EXPECT_EQ("I*", settings.content("/user/x"));
}

TEST(AddPropertyCalls, IsSilentIfTheFileCannotBeCreated) {
    RegisterProbe settings;
    settings.refuseOpen("/user/x");
    settings.addProperty("x", SCOPE_USER);
    EXPECT_EQ((Calls{"exists /user/x", "exists /user/", "open /user/x 1", "close"}), settings.takeCalls());
    EXPECT_FALSE(settings.propertyExists("x"));
}

TEST(AddPropertyCalls, RecordsNoChange) {
    RegisterProbe settings;
    settings.addProperty("x", SCOPE_USER);
    EXPECT_TRUE(settings._changedProperties.empty());
}

TEST(DelPropertyCalls, RemovesAProperty) {
    RegisterProbe settings;
    settings.addProperty("g/x", SCOPE_USER);
    settings.takeCalls();
    settings.delProperty("g/x", SCOPE_USER);
    EXPECT_EQ((Calls{"exists /user/g/x", "remove /user/g/x"}), settings.takeCalls());
    EXPECT_FALSE(settings.propertyExists("g/x", SCOPE_USER));
    EXPECT_TRUE(settings.groupExists("g", SCOPE_USER));
}

TEST(DelPropertyCalls, DoesNothingForAMissingName) {
    RegisterProbe settings;
    settings.delProperty("g/x", SCOPE_USER);
    EXPECT_EQ((Calls{"exists /user/g/x"}), settings.takeCalls());
}

TEST(DelPropertyCalls, IsSilentWhenNothingIsRemoved) {
    RegisterProbe settings;
    settings.existsAnswers["/user/x"] = true;
    EXPECT_EQ("nothing", failure([&] { settings.delProperty("x", SCOPE_USER); }));
    EXPECT_EQ((Calls{"exists /user/x", "remove /user/x"}), settings.takeCalls());
}

TEST(DelPropertyCalls, RecordsNoChange) {
    RegisterProbe settings;
    settings.addProperty("x", SCOPE_USER);
    settings.delProperty("x", SCOPE_USER);
    EXPECT_TRUE(settings._changedProperties.empty());
}

TEST(PropertyExistsCalls, ChecksWhetherThePathExists) {
    RegisterProbe settings;
    EXPECT_FALSE(settings.propertyExists("x", SCOPE_TEMPORARY));
    EXPECT_EQ((Calls{"exists /temp/x"}), settings.takeCalls());
}

TEST(PropertyExistsCalls, WithoutScopeChecksTheGlobalThenTheUserThenTheTemporaryOne) {
    RegisterProbe settings;
    EXPECT_FALSE(settings.propertyExists("x"));
    EXPECT_EQ((Calls{"exists /global/x", "exists /user/x", "exists /temp/x"}), settings.takeCalls());
}

TEST(PropertyExistsCalls, WithoutScopeStopsAtTheFirstThatHasIt) {
    RegisterProbe settings;
    for (RegisterScope const scope : allScopes)
        settings.addProperty("x", scope);
    settings.takeCalls();
    EXPECT_TRUE(settings.propertyExists("x"));
    EXPECT_EQ((Calls{"exists /global/x"}), settings.takeCalls());
}

TEST(OpenPropertyCalls, SearchesEveryScopeForTheGroupAndOpensThePath) {
    RegisterProbe settings;
    settings.addProperty("g/x", SCOPE_TEMPORARY);
    settings.takeCalls();
    FileHandle* const handle = settings.openProperty("g/x", FileSystem::MODE_READ, SCOPE_TEMPORARY);
    EXPECT_EQ(
        (Calls{"isDirectory /global/g", "isDirectory /user/g", "isDirectory /temp/g", "open /temp/g/x 0"}),
        settings.takeCalls());
    ASSERT_NE(nullptr, handle);
    settings.closeProperty(*handle);
}

TEST(OpenPropertyCalls, PassesTheModeUnchanged) {
    RegisterProbe settings;
    auto const mode = static_cast<FileSystem::FileSystemMode>(7);
    EXPECT_EQ("Cannot open property named x !",
              failure([&] { (void)settings.openProperty("x", mode, SCOPE_USER); }));
    EXPECT_EQ((Calls{"isDirectory /global/", "open /user/x 7"}), settings.takeCalls());
}

TEST(ClosePropertyCalls, ClosesTheHandle) {
    RegisterProbe settings;
    settings.addProperty("x", SCOPE_USER);
    FileHandle* const handle = settings.openProperty("x", FileSystem::MODE_READ, SCOPE_USER);
    ASSERT_NE(nullptr, handle);
    settings.takeCalls();
    settings.closeProperty(*handle);
    EXPECT_EQ((Calls{"close"}), settings.takeCalls());
}

TEST(ReadPropertyTypeCalls, ReadZeroThroughAHandleThatCouldNotBeOpened) {
    RegisterProbe settings;
    settings.store("/user/x", "I");
    settings.refuseOpen("/user/x");
    EXPECT_EQ(0, settings.readPropertyType("x", nullptr));
    EXPECT_EQ((Calls{"exists /user/x", "open /user/x 0", "readByte", "close"}), settings.takeCalls());
}
