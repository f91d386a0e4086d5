// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utils/properties/Register.h>
#include <velmorand/Catalogue.h>
#include <velmorand/Listener.h>
#include <velmorand/Property.h>

#include "support/Failure.h"

using namespace velmorand;
using utils::properties::_Register;

namespace {

using support::failure;
using testing::ElementsAre;

bool isInUserScope(std::string const& name) {
    return _Register::getInstance()->propertyExists(name, SCOPE_USER);
}

} // namespace

TEST(Names, AreNormalisedWhenTheyAreWritten) {
    std::vector<std::string> heard;
    Listener const listener{"a", [&heard](std::string const& name) { heard.push_back(name); }};
    write("/a//x/", 1);
    EXPECT_THAT(heard, ElementsAre("a/x"));
    EXPECT_EQ(1, read<int>("a/x"));
}

TEST(Names, ThatEndInASlashDoNotCreateAGroup) {
    write("cfg/size/", 1);
    write("cfg/size", 2);
    EXPECT_EQ(2, read<int>("cfg/size/"));
}

TEST(Names, ThatAreInvalidAreRefused) {
    EXPECT_EQ("the name is empty", failure([] { write("", 1); }));
    EXPECT_EQ("invalid name: \"//\": it consists only of \"/\"", failure([] { write("//", 1); }));
    EXPECT_EQ("invalid name: \"b/../x\": a level cannot be \"..\"", failure([] { write("b/../x", 1); }));
    EXPECT_EQ("invalid name: \"b/.\": a level cannot be \".\"", failure([] { write("b/.", 1); }));
    EXPECT_EQ("invalid name: \"b/\xff\": not UTF-8 text", failure([] { write("b/\xff", 1); }));
    EXPECT_FALSE(isInUserScope("b"));
}

TEST(Names, MayHaveLevelsThatBeginWithADot) {
    write("a/.x/..y", 1);
    EXPECT_EQ(1, read<int>("a/.x/..y"));
}

TEST(Names, ThatConflictWithAGroupOrPropertyAreRefused) {
    write("a/x", 1);
    EXPECT_EQ("cannot write \"a\": it is a group", failure([] { write("a", 1); }));
    EXPECT_EQ("cannot write \"a/x/y/z\": \"a/x\" is a property", failure([] { write("a/x/y/z", 1); }));
}

TEST(WriteWithAThrowingListener, ThrowsTheListenersException) {
    Listener const listener{"a", [](std::string const&) { throw utils::Exception("from the listener"); }};
    EXPECT_EQ("from the listener", failure([] { write("a/x", 1); }));
}

TEST(WriteWithAThrowingListener, ThrowsTheListenersExceptionEvenIfTheNameHasBecomeAGroup) {
    Listener const listener{"a", [](std::string const&) {
                                _Register::getInstance()->delProperty("a", SCOPE_USER);
                                _Register::getInstance()->addGroup("a", SCOPE_USER);
                                throw utils::Exception("from the listener");
                            }};
    EXPECT_EQ("from the listener", failure([] { write("a", 1); }));
}

TEST(Names, MayHaveAnyCharacters) {
    for (std::string const name : {"Größe", "a/Größe", "a/\xEF\xBB\xBFx", "\xEF\xBB\xBFx", "a b"}) {
        write(name, 1);
        EXPECT_EQ(1, read<int>(name)) << name;
    }
}

TEST(Names, AreNormalisedInEveryScope) {
    write("a//x/", 1, SCOPE_GLOBAL);
    write("a//y/", 1, SCOPE_TEMPORARY);
    EXPECT_EQ(1, read<int>("a/x"));
    EXPECT_EQ(1, read<int>("a/y"));
}

TEST(Names, OfDeclaredPropertiesAreNormalised) {
    Property<int> const property{"/a//x/", 1};
    EXPECT_EQ("a/x", property.name());
    property.set(2);
    EXPECT_EQ(2, read<int>("a/x"));
    EXPECT_EQ(2, property.get());
    property.reset();
    EXPECT_FALSE(isInUserScope("a"));
}

TEST(Names, ThatAreInvalidAreNotInTheCatalogue) {
    Property<int> const empty{""};
    Property<int> const dots{"a/../x"};
    Property<int> const bytes{"a/\xff"};
    Property<int> const fine{"a/x"};
    EXPECT_EQ("{\n  \"program\": \"p\",\n  \"settings\": {\n    \"a/x\": {\"type\": \"integer\", "
              "\"fallback\": 0}\n  }\n}\n",
              catalogue("p"));
}
