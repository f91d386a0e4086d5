// SPDX-License-Identifier: Apache-2.0
#include <limits>
#include <string>
#include <thread>

#include <boost/thread/locks.hpp>
#include <gtest/gtest.h>

#include "register/Scopes.h"
#include "support/Failure.h"
#include "support/RegisterProbe.h"

using support::failure;
using support::RegisterProbe;

TEST(NameToPath, PutsTheScopeDirectoryBeforeTheName) {
    RegisterProbe const settings;
    EXPECT_EQ("/global/a/b", settings._nameToPath("a/b", SCOPE_GLOBAL));
    EXPECT_EQ("/user/a/b", settings._nameToPath("a/b", SCOPE_USER));
    EXPECT_EQ("/temp/a/b", settings._nameToPath("a/b", SCOPE_TEMPORARY));
}

TEST(NameToPath, ReturnsTheScopeDirectoryForTheEmptyName) {
    RegisterProbe const settings;
    EXPECT_EQ("/global/", settings._nameToPath("", SCOPE_GLOBAL));
    EXPECT_EQ("/user/", settings._nameToPath("", SCOPE_USER));
    EXPECT_EQ("/temp/", settings._nameToPath("", SCOPE_TEMPORARY));
}

TEST(NameToPath, DoesNotNormaliseTheName) {
    RegisterProbe const settings;
    EXPECT_EQ("/user//a", settings._nameToPath("/a", SCOPE_USER));
    EXPECT_EQ("/user/a//b/", settings._nameToPath("a//b/", SCOPE_USER));
    EXPECT_EQ("/user/../x/.", settings._nameToPath("../x/.", SCOPE_USER));
}

TEST(NameToPath, KeepsEveryByteOfTheName) {
    RegisterProbe const settings;
    std::string const name("a\0b\xff\xc3\xa4", 6);
    EXPECT_EQ("/user/" + name, settings._nameToPath(name, SCOPE_USER));
}

TEST(NameToPath, RefusesAnyOtherScope) {
    RegisterProbe const settings;
    for (int const scope : {3, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
        EXPECT_EQ("Bad scope value.",
                  failure([&] { (void)settings._nameToPath("a", static_cast<RegisterScope>(scope)); }));
}

TEST(NameToPath, ReadsNothingFromTheTree) {
    RegisterProbe settings;
    (void)settings._nameToPath("a", SCOPE_USER);
    EXPECT_EQ(Calls{}, settings.takeCalls());
}

TEST(PathToName, AcceptsAnyNumberOfLeadingSlashes) {
    RegisterProbe const settings;
    EXPECT_EQ("a/b", settings._pathToName("user/a/b"));
    EXPECT_EQ("a/b", settings._pathToName("/user/a/b"));
    EXPECT_EQ("a/b", settings._pathToName("///user/a/b"));
    EXPECT_EQ("x", settings._pathToName("global/x"));
    EXPECT_EQ("x", settings._pathToName("////global/x"));
    EXPECT_EQ("/name", settings._pathToName("//temp/ab/name"));
}

TEST(PathToName, RemovesTheUserPrefix) {
    RegisterProbe const settings;
    EXPECT_EQ("a/b", settings._pathToName("/user/a/b"));
    EXPECT_EQ("/a", settings._pathToName("/user//a"));
    EXPECT_EQ("", settings._pathToName("/user/"));
}

TEST(PathToName, RemovesTheGlobalPrefix) {
    RegisterProbe const settings;
    EXPECT_EQ("a/b", settings._pathToName("/global/a/b"));
    EXPECT_EQ("x", settings._pathToName("/global/x"));
    EXPECT_EQ("", settings._pathToName("/global/"));
}

TEST(PathToName, DropsTwoMoreCharactersInTheTemporaryScope) {
    RegisterProbe const settings;
    EXPECT_EQ("/name", settings._pathToName("/temp/ab/name"));
    EXPECT_EQ("y", settings._pathToName("/temp/x/y"));
    EXPECT_EQ("", settings._pathToName("/temp/ab"));
}

TEST(PathToName, ThrowsOutOfRangeForATemporaryPathThatIsTooShort) {
    RegisterProbe const settings;
    for (char const* path : {"/temp/a", "/temp/", "temp/a", "///temp/a"}) {
        EXPECT_THROW((void)settings._pathToName(path), std::out_of_range) << path;
        EXPECT_EQ(0U, failure([&] { (void)settings._pathToName(path); }).find("std: basic_string::substr"))
            << path;
    }
}

TEST(PathToName, RefusesAPathOutsideTheScopes) {
    RegisterProbe const settings;
    for (char const* path : {"", "/", "///", "/other/x", "/global", "global", "/user", "/temp", "/User/a",
                             "/userx/a", "x/user/a", " /user/a", "/globa"})
        EXPECT_EQ("Bad scope value.", failure([&] { (void)settings._pathToName(path); })) << path;
}

TEST(PathToName, IsTheInverseOfNameToPathExceptInTheTemporaryScope) {
    RegisterProbe const settings;
    for (std::string const name : {"a", "a/b", "/a", "a//b/", "", "user/x", "temp/x"})
        for (RegisterScope const scope : {SCOPE_GLOBAL, SCOPE_USER})
            EXPECT_EQ(name, settings._pathToName(settings._nameToPath(name, scope)));
}

TEST(LocateProperty, SearchesTheUserThenTheGlobalThenTheTemporaryScope) {
    RegisterProbe settings;
    EXPECT_EQ("PropertyNotFound", failure([&] { (void)settings._locateProperty("g/x"); }));
    EXPECT_EQ((Calls{"exists /user/g/x", "exists /global/g/x", "exists /temp/g/x"}), settings.takeCalls());
}

TEST(LocateProperty, StopsAtTheFirstScopeThatHasTheName) {
    RegisterProbe settings;
    for (RegisterScope const scope : allScopes)
        settings.addProperty("x", scope);
    settings.takeCalls();
    EXPECT_EQ("/user/x", settings._locateProperty("x"));
    EXPECT_EQ((Calls{"exists /user/x"}), settings.takeCalls());
}

TEST(LocateProperty, FindsTheGlobalScopeBeforeTheTemporaryOne) {
    RegisterProbe settings;
    settings.addProperty("x", SCOPE_GLOBAL);
    settings.addProperty("x", SCOPE_TEMPORARY);
    EXPECT_EQ("/global/x", settings._locateProperty("x"));
}

TEST(LocateProperty, FindsTheTemporaryScopeLast) {
    RegisterProbe settings;
    settings.addProperty("x", SCOPE_TEMPORARY);
    EXPECT_EQ("/temp/x", settings._locateProperty("x"));
}

TEST(LocateProperty, FindsAGroupOfThatNameToo) {
    RegisterProbe settings;
    settings.addGroup("x", SCOPE_USER);
    settings.addProperty("x", SCOPE_GLOBAL);
    EXPECT_EQ("/user/x", settings._locateProperty("x"));
}

TEST(LocateProperty, ReturnsTheScopeDirectoryForTheEmptyName) {
    RegisterProbe const settings;
    EXPECT_EQ("/user/", settings._locateProperty(""));
}

TEST(NameOperations, DoNotTakeTheLock) {
    RegisterProbe settings;
    settings.addProperty("x", SCOPE_USER);
    boost::unique_lock<boost::recursive_mutex> const held(*RegisterProbe::_mutex);
    std::string found;
    std::thread([&] {
        found = settings._nameToPath("x", SCOPE_USER) + settings._pathToName("/user/x") +
                settings._locateProperty("x");
    }).join();
    EXPECT_EQ("/user/xx/user/x", found);
}
