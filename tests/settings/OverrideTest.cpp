// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utils/properties/Register.h>
#include <velmorand/Catalogue.h>
#include <velmorand/Group.h>
#include <velmorand/Listener.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

#include "support/ChildProcess.h"
#include "support/Failure.h"
#include "support/TemporaryDirectory.h"

using namespace velmorand;
using utils::properties::_Register;

namespace {

using support::failure;
using testing::ElementsAre;
using testing::IsEmpty;

enum class Theme { light, dark };
VELMORAND_ENUM(Theme, {Theme::light, "light"}, {Theme::dark, "dark"})

/** The names that listeners of the group "a" are notified of. */
class Heard {
public:
    std::vector<std::string> names;

private:
    Listener _listener{"a", [this](std::string const& name) { names.push_back(name); }, this};
};

} // namespace

TEST(Override, TakesPrecedenceOverAllScopes) {
    Property<int> const property{"a/x"};
    property.set(1);
    property.override(9);
    EXPECT_EQ(9, property.get());
    EXPECT_TRUE(property.isOverridden());
    property.clearOverride();
    EXPECT_EQ(1, property.get());
    EXPECT_FALSE(property.isOverridden());
}

TEST(Override, NeedsNoValueInAScope) {
    Property<int> const property{"a/x", 5};
    property.override(9);
    EXPECT_EQ(9, property.get());
    EXPECT_FALSE(property.isSet());
    property.clearOverride();
    EXPECT_EQ(5, property.get());
}

TEST(Override, AcceptsEveryTypeOfASetting) {
    Property<Theme> const theme{"a/theme"};
    Property<std::vector<std::string>> const list{"a/list"};
    Property<std::chrono::seconds> const delay{"a/delay"};
    Property<double> const size{"a/size"};
    Property<bool> const wrap{"a/wrap"};
    theme.override(Theme::dark);
    list.override({"x", ""});
    delay.override(std::chrono::minutes(2));
    size.override(12);
    wrap.override(true);
    EXPECT_EQ(Theme::dark, theme.get());
    EXPECT_THAT(list.get(), ElementsAre("x", ""));
    EXPECT_EQ(std::chrono::seconds(120), delay.get());
    EXPECT_EQ(12.0, size.get());
    EXPECT_TRUE(wrap.get());
}

TEST(Override, IsSeenByOtherDeclarationsAndByName) {
    Property<int> const property{"a/x"};
    Property<int> const same{"/a//x"};
    property.override(9);
    EXPECT_EQ(9, same.get());
    EXPECT_TRUE(same.isOverridden());
    EXPECT_EQ(9, read<int>("a/x"));
    EXPECT_EQ(9, read<int>("/a/x", 1));
    EXPECT_EQ(9, Group("a").read<int>("x"));
    EXPECT_EQ("PropertyBadType", failure([] { static_cast<void>(read<bool>("a/x")); }));
    EXPECT_TRUE(declaredProperties().at(0).isOverridden);
}

TEST(Override, OfAnotherTypeIsAProblem) {
    Property<int> const property{"a/x"};
    Property<std::string> const other{"a/x", "none"};
    property.override(9);
    EXPECT_EQ("none", other.get());
    EXPECT_EQ("a/x: expected a string, found an integer", other.problem());
}

TEST(Override, ReplacesAnEarlierOne) {
    Property<int> const property{"a/x"};
    property.override(9);
    property.override(8);
    EXPECT_EQ(8, property.get());
    property.clearOverride();
    EXPECT_EQ(0, property.get());
}

TEST(Override, OutlivesThePropertyObject) {
    std::optional<Property<int>> property{"a/x"};
    property->override(9);
    property.reset();
    Property<int> const later{"a/x"};
    EXPECT_EQ(9, later.get());
}

TEST(Override, IsRefusedForValuesThatAreNotAllowed) {
    Property<int> const property{"a/x", 5, range(1, 9)};
    EXPECT_EQ("cannot set \"a/x\": 12 is not allowed: expected 1 to 9",
              failure([&] { property.override(12); }));
    EXPECT_FALSE(property.isOverridden());
}

TEST(Override, IsRefusedForAnInvalidName) {
    Property<int> const property{"a/../x"};
    EXPECT_EQ("invalid name: \"a/../x\": a level cannot be \"..\"", failure([&] { property.override(1); }));
    EXPECT_FALSE(property.isOverridden());
}

TEST(Override, DoesNotPreventStoringTheUsersValue) {
    Property<int> const property{"a/x"};
    property.override(9);
    property.set(9);
    EXPECT_TRUE(property.isSet());
    property.set(2);
    EXPECT_EQ(9, property.get());
    property.clearOverride();
    EXPECT_EQ(2, property.get());
}

TEST(Override, IsKeptWhenTheUsersValueIsReset) {
    Property<int> const property{"a/x"};
    property.set(1);
    property.override(9);
    property.reset();
    resetDeclaredProperties();
    EXPECT_EQ(9, property.get());
}

TEST(Override, IsUnknownToTheRegister) {
    Property<int> const property{"a/x"};
    property.override(9);
    EXPECT_FALSE(_Register::getInstance()->propertyExists("a/x"));
    property.set(1);
    int value = 0;
    _Register::getInstance()->_readInteger("a/x", value);
    EXPECT_EQ(1, value);
}

TEST(Override, IsNeitherListedNorCopied) {
    Property<int> const x{"a/x"};
    Property<int> const y{"a/y"};
    x.set(1);
    x.override(9);
    y.override(9);
    EXPECT_THAT(Group("a").properties(), ElementsAre("x"));
    EXPECT_FALSE(Group("a").contains("y"));
    Group const copy = Group("a").copy("b");
    EXPECT_EQ(1, copy.read<int>("x"));
}

TEST(Override, IsNotSaved) {
    support::TemporaryDirectory const directory;
    LiveSettings live{{(directory / "user").string(), (directory / "global").string()}};
    Property<int> const property{"a/x"};
    property.override(9);
    EXPECT_TRUE(live.isSaved());
    property.set(1);
    EXPECT_TRUE(live.sync().saved);
    property.clearOverride();
    EXPECT_EQ(1, property.get());
}

TEST(Override, NotifiesOnceOfANewEffectiveValue) {
    Property<int> const property{"a/x", 5};
    property.set(1);
    Heard heard;
    property.override(9);
    EXPECT_THAT(heard.names, ElementsAre("a/x"));
    property.override(9);
    EXPECT_THAT(heard.names, ElementsAre("a/x"));
    property.clearOverride();
    EXPECT_THAT(heard.names, ElementsAre("a/x", "a/x"));
    property.clearOverride();
    EXPECT_THAT(heard.names, ElementsAre("a/x", "a/x"));
}

TEST(Override, DoesNotNotifyIfTheEffectiveValueStaysTheSame) {
    Property<int> const property{"a/x"};
    property.set(1);
    Heard heard;
    property.override(1);
    property.clearOverride();
    EXPECT_THAT(heard.names, IsEmpty());
}

TEST(Override, SkipsItsSender) {
    Property<int> const property{"a/x"};
    Heard heard;
    property.override(1, &heard);
    property.clearOverride(&heard);
    EXPECT_THAT(heard.names, IsEmpty());
}

TEST(Override, IsInPlaceWhenListenersAreNotified) {
    Property<int> const property{"a/x"};
    std::vector<int> seen;
    Listener const listener{"a/x", [&](std::string const&) { seen.push_back(property.get()); }};
    property.override(9);
    property.clearOverride();
    EXPECT_THAT(seen, ElementsAre(9, 0));
}

TEST(Override, IsInPlaceIfAListenerThrows) {
    Property<int> const property{"a/x"};
    Listener const listener{"a/x", [&](std::string const&) { throw Exception("from the listener"); }};
    EXPECT_EQ("from the listener", failure([&] { property.override(9); }));
    EXPECT_EQ(9, property.get());
}

TEST(Override, IsRefusedForALockedSetting) {
    Property<int> const property{"a/x"};
    write("velmorand/locked", std::vector<std::string>{"a"}, SCOPE_GLOBAL);
    EXPECT_EQ("cannot override \"a/x\": the administrator has locked \"a\"",
              failure([&] { property.override(9); }));
    EXPECT_FALSE(property.isOverridden());
    EXPECT_EQ(0, property.get());
}

TEST(Override, IsIgnoredWhileTheSettingIsLocked) {
    Property<int> const property{"a/x"};
    property.override(9);
    write("a/x", 2, SCOPE_GLOBAL);
    write("velmorand/locked", std::vector<std::string>{"a/x"}, SCOPE_GLOBAL);
    EXPECT_EQ(2, property.get());
    EXPECT_EQ(2, read<int>("a/x"));
    EXPECT_FALSE(property.isOverridden());
    write("velmorand/locked", std::vector<std::string>(), SCOPE_GLOBAL);
    EXPECT_EQ(9, property.get());
    EXPECT_TRUE(property.isOverridden());
}

TEST(Override, IsKeptInAForkedChild) {
    Property<int> const property{"a/x"};
    property.override(9);
    int const status = support::inChild(
        [&] {
            EXPECT_EQ(9, property.get());
            EXPECT_TRUE(property.isOverridden());
        },
        support::Leave::atOnce);
    EXPECT_EQ(0, status);
}
