// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <velmorand/Catalogue.h>
#include <velmorand/Listener.h>
#include <velmorand/Property.h>

#include "support/BlockedThread.h"
#include "support/Failure.h"

namespace {

enum class Theme { light, dark };
VELMORAND_ENUM(Theme, {Theme::light, "light"}, {Theme::dark, "dark"})

using namespace velmorand;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> declaredNames() {
    std::vector<std::string> names;
    for (DeclaredProperty const& property : declaredProperties())
        names.push_back(property.name);
    return names;
}

/** The entry of the only declared property. */
std::string onlyEntry() {
    std::string const text = catalogue("p");
    std::string const before = "{\n  \"program\": \"p\",\n  \"settings\": {\n    ";
    std::string const after = "\n  }\n}\n";
    EXPECT_EQ(before, text.substr(0, before.size()));
    EXPECT_EQ(after, text.substr(text.size() - after.size()));
    return text.substr(before.size(), text.size() - before.size() - after.size());
}

} // namespace

TEST(DeclaredProperties, AreSortedByName) {
    Property<int> const b{"b"};
    Property<int> const a{"a/x"};
    EXPECT_THAT(declaredNames(), ElementsAre("a/x", "b"));
}

TEST(DeclaredProperties, AreListedUntilTheLastCopyIsDestroyed) {
    std::optional<Property<int>> copy;
    {
        Property<int> const original{"a"};
        copy = original;
    }
    EXPECT_THAT(declaredNames(), ElementsAre("a"));
    copy.reset();
    EXPECT_THAT(declaredNames(), IsEmpty());
}

TEST(DeclaredProperties, AreListedOncePerName) {
    Property<int> const first{"a", 1};
    Property<int> const second{"a", 2};
    ASSERT_THAT(declaredNames(), ElementsAre("a"));
    EXPECT_EQ("1", declaredProperties()[0].fallback);
}

TEST(DeclaredProperties, DescribeTheWholeDeclaration) {
    Property<double> const size{"a/size", 11.5, description("Font size, in points"), range(6, 72)};
    DeclaredProperty const declared = declaredProperties().at(0);
    EXPECT_EQ("number", declared.kind);
    EXPECT_EQ("", declared.format);
    EXPECT_EQ("11.5", declared.fallback);
    EXPECT_EQ("6", declared.minimum);
    EXPECT_EQ("72", declared.maximum);
    EXPECT_THAT(declared.choices, IsEmpty());
    EXPECT_EQ("Font size, in points", declared.description);
}

TEST(DeclaredProperties, ReportWhetherTheyAreSetAndValid) {
    Property<int> const width{"a/width", 7};
    EXPECT_FALSE(declaredProperties().at(0).isSet);
    width.set(8);
    EXPECT_TRUE(declaredProperties().at(0).isSet);
    EXPECT_EQ("", declaredProperties().at(0).problem);
    write("a/width", "wide");
    EXPECT_EQ("a/width: expected an integer, found a string", declaredProperties().at(0).problem);
}

TEST(DeclaredProperties, AreResetTogether) {
    Property<int> const width{"a/width", 7};
    Property<int> const height{"a/height", 8};
    Property<int> const depth{"a/depth", 9};
    write("a/other", 1);
    width.set(1);
    height.set(2);
    std::vector<std::string> heard;
    Listener const listener{"a", [&](std::string const& name) {
                                heard.push_back(name);
                                EXPECT_FALSE(width.isSet());
                                EXPECT_FALSE(height.isSet());
                            }};
    resetDeclaredProperties();
    EXPECT_THAT(heard, ElementsAre("a/height", "a/width"));
    EXPECT_EQ(1, read<int>("a/other"));
}

TEST(DeclaredProperties, SkipTheSenderWhenTheyAreReset) {
    Property<int> const width{"a/width", 7};
    width.set(1);
    int sender = 0;
    int calls = 0;
    Listener const listener{"a", [&calls](std::string const&) { ++calls; }, &sender};
    resetDeclaredProperties(&sender);
    EXPECT_FALSE(width.isSet());
    EXPECT_EQ(0, calls);
}

TEST(DeclaredProperties, AreAnnouncedOnceEvenIfAListenerThrows) {
    Property<int> const a{"a/x"};
    Property<int> const b{"b/x"};
    a.set(1);
    b.set(1);
    int calls = 0;
    Listener const throwing{"a", [](std::string const&) { throw utils::Exception("from the listener"); }};
    Listener const other{"b", [&calls](std::string const&) { ++calls; }};
    EXPECT_EQ("from the listener", support::failure([] { resetDeclaredProperties(); }));
    EXPECT_FALSE(b.isSet());
    EXPECT_EQ(1, calls);
    write("c", 1);
    EXPECT_EQ(1, calls);
}

TEST(DeclaredProperties, AreNotDestroyedWhileAnotherThreadDescribesThem) {
    std::optional<support::BlockedThread> destroying;
    bool isDestroyed = false;
    std::optional<Property<int>> property;
    property.emplace("a/x", 1, check([&](int) {
                         if (!destroying)
                             destroying.emplace([&] {
                                 property.reset();
                                 isDestroyed = true;
                             });
                         EXPECT_FALSE(isDestroyed);
                         return true;
                     }));
    write("a/x", 2);
    EXPECT_EQ(1U, declaredProperties().size());
    destroying->join();
    EXPECT_TRUE(isDestroyed);
}

TEST(Catalogue, IsEmptyWithoutDeclarations) {
    EXPECT_EQ("{\n  \"program\": \"p\",\n  \"settings\": {\n  }\n}\n", catalogue("p"));
}

TEST(Catalogue, HasAnEntryPerLine) {
    Property<int> const b{"b", 1};
    Property<bool> const a{"a", true};
    EXPECT_EQ("\"a\": {\"type\": \"boolean\", \"fallback\": true},\n"
              "    \"b\": {\"type\": \"integer\", \"fallback\": 1}",
              onlyEntry());
}

TEST(Catalogue, HasLimitsAndDescription) {
    Property<double> const size{"a/size", 11, range(6, 72), description("Font \"size\", in points")};
    EXPECT_EQ(R"("a/size": {"type": "number", "fallback": 11, "minimum": 6, "maximum": 72, )"
              R"("description": "Font \"size\", in points"})",
              onlyEntry());
}

TEST(Catalogue, ListsTheNamesOfAnEnumAsChoices) {
    Property<Theme> const theme{"a/theme", Theme::dark};
    EXPECT_EQ(R"("a/theme": {"type": "string", "fallback": "dark", "choices": ["light", "dark"]})",
              onlyEntry());
}

TEST(Catalogue, GivesTheLimitsOfATypeSmallerThanItsKind) {
    Property<unsigned char> const byte{"a/byte", 1, atMost(9)};
    EXPECT_EQ(R"("a/byte": {"type": "integer", "fallback": 1, "minimum": 0, "maximum": 9})", onlyEntry());
}

TEST(Catalogue, WritesLongNumbersAsText) {
    Property<std::int64_t> const id{"a/id", -1};
    EXPECT_EQ(R"("a/id": {"type": "string", "format": "whole", "fallback": "-1", )"
              R"("minimum": "-9223372036854775808", "maximum": "9223372036854775807"})",
              onlyEntry());
}

TEST(Catalogue, WritesListsOfBooleans) {
    Property<std::vector<bool>> const days{"a/days", {true, false}};
    EXPECT_EQ(R"("a/days": {"type": "booleans", "fallback": [true, false]})", onlyEntry());
}

TEST(Catalogue, WritesDurationsAsText) {
    using Seconds = std::chrono::duration<double>;
    Property<Seconds> const autosave{"a/autosave", 30s, atLeast(1s)};
    EXPECT_EQ(R"("a/autosave": {"type": "string", "format": "duration", "fallback": "30s", "minimum": "1s"})",
              onlyEntry());
}

TEST(Catalogue, GivesTheResolutionOfDurationsThatCountWholeNumbers) {
    Property<std::chrono::milliseconds> const autosave{"a/autosave", 30s, atLeast(1s)};
    EXPECT_EQ(R"("a/autosave": {"type": "string", "format": "duration", "resolution": "1ms", )"
              R"("fallback": "30000ms", "minimum": "1000ms"})",
              onlyEntry());
}

TEST(Catalogue, GivesTheResolutionOfTheElementsOfAList) {
    Property<std::vector<std::chrono::hours>> const delays{"a/delays"};
    EXPECT_EQ(R"("a/delays": {"type": "strings", "format": "duration", "resolution": "1h", "fallback": []})",
              onlyEntry());
}

TEST(Catalogue, HasListsOfAnyKind) {
    Property<std::vector<Theme>> const themes{"a/themes", {Theme::dark, Theme::light}};
    EXPECT_EQ(
        R"("a/themes": {"type": "strings", "fallback": ["dark", "light"], "choices": ["light", "dark"]})",
        onlyEntry());
}

TEST(Catalogue, OmitsAComputedFallback) {
    Property<int> const threads{"a/threads", [] { return 4; }};
    EXPECT_EQ(R"("a/threads": {"type": "integer"})", onlyEntry());
}

TEST(Catalogue, WritesNumbersThatJsonLacksAsText) {
    Property<std::vector<double>> const limits{"a/limits",
                                               {std::numeric_limits<double>::infinity(),
                                                -std::numeric_limits<double>::infinity(),
                                                std::numeric_limits<double>::quiet_NaN()}};
    EXPECT_EQ(R"("a/limits": {"type": "numbers", "fallback": ["inf", "-inf", "nan"]})", onlyEntry());
}

TEST(Catalogue, OmitsAFallbackThatCannotBeStored) {
    Property<Theme> const theme{"a/theme", static_cast<Theme>(7)};
    EXPECT_EQ(R"("a/theme": {"type": "string", "choices": ["light", "dark"]})", onlyEntry());
}

TEST(Catalogue, OmitsANameThatIsNotUtf8) {
    Property<int> const property{"a/\xff"};
    EXPECT_EQ("{\n  \"program\": \"p\",\n  \"settings\": {\n  }\n}\n", catalogue("p"));
}

TEST(Catalogue, WritesTextThatIsNotUtf8InBase64) {
    Property<std::string> const bytes{"a/bytes", "\xff\x01"};
    EXPECT_EQ(R"("a/bytes": {"type": "string", "fallback": {"base64": "/wE="}})", onlyEntry());
}
