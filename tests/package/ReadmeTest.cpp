// SPDX-License-Identifier: Apache-2.0
//
// The README's block without a `main` behaves as its comments describe.

#include <string>
#include <utility>
#include <vector>

#include <utils/properties/Register.h>
#include <velmorand/Listener.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

#include "support/TemporaryDirectory.h"

#include <gmock/gmock.h>

namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
using utils::properties::_Register;
using velmorand::PropertyBadType;
using velmorand::PropertyNotFound;
using velmorand::RegisterScope;
using velmorand::SCOPE_GLOBAL;
using velmorand::SCOPE_TEMPORARY;
using velmorand::SCOPE_USER;

/** The values that the block has read. */
struct Read {
    std::string theme;
    double size = 0;
};

struct Editor {
    Read run() {
#include "Readme/02.inc"
        return {theme, size};
    }
};

/** Settings in an empty temporary directory. */
class Readme : public ::testing::Test {
protected:
    static void prepareTheme() { velmorand::write("editor/theme", "light"); }

    static bool exists(std::string const& name, RegisterScope scope) {
        return _Register::getInstance()->propertyExists(name, scope);
    }

private:
    support::TemporaryDirectory _directory;
    velmorand::LiveSettings _live{{_directory / "user", _directory / "global"}};
};

TEST_F(Readme, ReadsAValueOfAScope) {
    prepareTheme();

    EXPECT_EQ(Editor().run().theme, "light");
}

TEST_F(Readme, ThrowsIfNoScopeHasTheProperty) {
    EXPECT_THROW(Editor().run(), PropertyNotFound);
}

TEST_F(Readme, ThrowsWhenThePropertyIsOfAnotherType) {
    velmorand::write("editor/theme", 1);

    EXPECT_THROW(Editor().run(), PropertyBadType);
}

TEST_F(Readme, ReadsTheFallbackIfNoScopeHasTheProperty) {
    prepareTheme();

    EXPECT_EQ(Editor().run().size, 11.0);
}

TEST_F(Readme, DoesNotReadTheFallbackIfAScopeHasTheProperty) {
    prepareTheme();
    velmorand::write("editor/size", 9.0, SCOPE_GLOBAL);

    EXPECT_EQ(Editor().run().size, 9.0);
}

TEST_F(Readme, ThrowsInsteadOfUsingTheFallbackIfThePropertyIsOfAnotherType) {
    prepareTheme();
    velmorand::write("editor/size", "large");

    EXPECT_THROW(Editor().run(), PropertyBadType);
}

TEST_F(Readme, WritesToTheUserScopeUnlessOneIsGiven) {
    prepareTheme();

    Editor().run();

    EXPECT_EQ(velmorand::read<std::string>("editor/theme"), "dark");
    EXPECT_TRUE(exists("editor/theme", SCOPE_USER));
    EXPECT_FALSE(exists("editor/size", SCOPE_USER));
    EXPECT_EQ(velmorand::read<double>("editor/size"), 12.5);
    EXPECT_TRUE(exists("editor/size", SCOPE_TEMPORARY));
}

TEST_F(Readme, SkipsTheSenderOnlyIfOneIsGiven) {
    prepareTheme();
    Editor editor;
    std::vector<std::string> notified;
    velmorand::Listener const listener{"editor", [&](std::string const& name) { notified.push_back(name); },
                                       &editor};

    editor.run();

    EXPECT_THAT(notified, ElementsAre("editor/theme", "editor/recent", "editor/recent"));
}

TEST_F(Readme, SetsAndResetsTheProperty) {
    prepareTheme();
    std::vector<std::pair<bool, std::vector<int>>> recent;
    velmorand::Property<std::vector<int>> const property{"editor/recent", {1, 2, 3}};
    velmorand::Listener const listener{
        "editor/recent", [&](std::string const&) { recent.emplace_back(property.isSet(), property.get()); }};

    Editor().run();

    EXPECT_THAT(recent, ElementsAre(Pair(true, ElementsAre(4, 5)), Pair(false, ElementsAre(1, 2, 3))));
}

} // namespace
