// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <velmorand/Catalogue.h>
#include <velmorand/Property.h>

#include "support/Failure.h"
#include "support/RegisterProbe.h"

using namespace velmorand;
using utils::properties::_Register;

namespace {

using support::failure;
using testing::ElementsAre;
using testing::IsEmpty;

/** Records the names it is notified of. */
class Noting : public _Register::Callback {
public:
    explicit Noting(std::string const& key) { _Register::getInstance()->addCallback(key, this); }
    Noting(Noting const&) = delete;
    Noting& operator=(Noting const&) = delete;
    ~Noting() override { _Register::getInstance()->removeCallback(this); }

    void propertyChanged(std::string const& name) override { names.push_back(name); }
    void* owner() override { return this; }

    std::vector<std::string> names;
};

template <class T>
T sample();
template <>
std::string sample() {
    return "text";
}
template <>
double sample() {
    return 2.5;
}
template <>
int sample() {
    return -7;
}
template <>
bool sample() {
    return true;
}
template <>
std::vector<std::string> sample() {
    return {"a", ""};
}
template <>
std::vector<double> sample() {
    return {0.5, -1e300};
}
template <>
std::vector<int> sample() {
    return {1, -2, 3};
}
template <>
std::vector<bool> sample() {
    return {true, false, true};
}

template <class T>
class EveryType : public testing::Test {};
using Types = testing::Types<std::string, double, int, bool, std::vector<std::string>, std::vector<double>,
                             std::vector<int>, std::vector<bool>>;
TYPED_TEST_SUITE(EveryType, Types, );

} // namespace

TYPED_TEST(EveryType, IsReadAsItWasWritten) {
    write("a/b", sample<TypeParam>());
    EXPECT_EQ(sample<TypeParam>(), read<TypeParam>("a/b"));
}

TYPED_TEST(EveryType, IsTheFallbackIfNoScopeHasIt) {
    EXPECT_EQ(sample<TypeParam>(), read<TypeParam>("a/b", sample<TypeParam>()));
}

TYPED_TEST(EveryType, IsAPropertyThatIsSetAndReset) {
    Property<TypeParam> const property{"a/b"};
    property.set(sample<TypeParam>());
    EXPECT_EQ(sample<TypeParam>(), property.get());
    property.reset();
    EXPECT_EQ(TypeParam(), property.get());
}

TEST(Read, ThrowsIfNoScopeHasTheName) {
    EXPECT_EQ("PropertyNotFound", failure([] { static_cast<void>(read<int>("a/b")); }));
}

TEST(Read, ThrowsForAnotherKindOfValue) {
    write("a/b", 1);
    EXPECT_EQ("PropertyBadType", failure([] { static_cast<void>(read<double>("a/b")); }));
}

TEST(Read, WithAFallbackThrowsForAnotherKindOfValue) {
    write("a/b", 1);
    EXPECT_EQ("PropertyBadType", failure([] { static_cast<void>(read<double>("a/b", 1.5)); }));
}

TEST(Read, WithAFallbackThrowsForAGroup) {
    write("a/b", 1);
    EXPECT_EQ("PropertyBadType", failure([] { static_cast<void>(read<int>("a", 1)); }));
}

TEST(Read, WithAFallbackReadsTheFirstScopeThatHasTheName) {
    write("a/b", 1, SCOPE_TEMPORARY);
    EXPECT_EQ(1, read("a/b", 9));
    write("a/b", 2, SCOPE_GLOBAL);
    EXPECT_EQ(2, read("a/b", 9));
    write("a/b", 3);
    EXPECT_EQ(3, read("a/b", 9));
}

TEST(Read, AcceptsALiteralAsTheFallbackOfAString) {
    EXPECT_EQ("dark", read<std::string>("a/b", "dark"));
}

TEST(Write, WritesToTheUserScope) {
    write("a/b", 1);
    EXPECT_TRUE(_Register::getInstance()->propertyExists("a/b", SCOPE_USER));
}

TEST(Write, WritesToTheGivenScope) {
    write("a/b", 1, SCOPE_TEMPORARY);
    EXPECT_TRUE(_Register::getInstance()->propertyExists("a/b", SCOPE_TEMPORARY));
    EXPECT_FALSE(_Register::getInstance()->propertyExists("a/b", SCOPE_USER));
}

TEST(Write, AcceptsALiteralAsAString) {
    write("a/b", "dark");
    EXPECT_EQ("dark", read<std::string>("a/b"));
}

TEST(Write, AcceptsACharacterPointerAsAString) {
    char const* const text = "dark";
    write("a/b", text);
    EXPECT_EQ("dark", read<std::string>("a/b"));
}

TEST(Write, NotifiesListenersExceptTheSenders) {
    Noting sender("a");
    Noting other("a");
    write("a/b", 1, SCOPE_USER, &sender);
    EXPECT_THAT(sender.names, IsEmpty());
    EXPECT_THAT(other.names, ElementsAre("a/b"));
}

TEST(Write, RefusesAnInvalidScope) {
    EXPECT_EQ("Bad scope value.", failure([] { write("a/b", 1, static_cast<RegisterScope>(3)); }));
}

TEST(PropertyOf, HasItsFallbackUntilItIsSet) {
    Property<std::vector<int>> const recent{"a/recent", {1, 2, 3}};
    EXPECT_THAT(recent.get(), ElementsAre(1, 2, 3));
    EXPECT_FALSE(recent.isSet());
}

TEST(PropertyOf, HasTheValueThatWasSet) {
    Property<std::vector<int>> const recent{"a/recent", {1, 2, 3}};
    recent.set({4, 5});
    EXPECT_THAT(recent.get(), ElementsAre(4, 5));
    EXPECT_TRUE(recent.isSet());
}

TEST(PropertyOf, KnowsItsNameAndFallback) {
    Property<int> const width{"a/width", 8};
    EXPECT_EQ("a/width", width.name());
    EXPECT_EQ(8, width.fallback());
}

TEST(PropertyOf, SkipsItsSender) {
    Noting sender("a");
    Property<int> const width{"a/width"};
    width.set(1, &sender);
    width.reset(&sender);
    EXPECT_THAT(sender.names, IsEmpty());
}

TEST(PropertyOf, IsSetOnlyIfTheUserScopeHasIt) {
    write("a/width", 1, SCOPE_GLOBAL);
    Property<int> const width{"a/width", 8};
    EXPECT_FALSE(width.isSet());
    EXPECT_EQ(1, width.get());
}

TEST(Reset, RevealsTheNextScope) {
    write("a/width", 1, SCOPE_GLOBAL);
    Property<int> const width{"a/width", 8};
    width.set(2);
    width.reset();
    EXPECT_EQ(1, width.get());
}

TEST(Reset, NotifiesListenersAfterTheValueIsRemoved) {
    Property<int> const width{"a/width", 8};
    width.set(2);
    Noting listener("a/width");
    width.reset();
    EXPECT_THAT(listener.names, ElementsAre("a/width"));
    EXPECT_EQ(8, width.get());
}

TEST(Reset, DoesNothingIfItIsNotSet) {
    Noting listener("a");
    Property<int>("a/width").reset();
    EXPECT_THAT(listener.names, IsEmpty());
}

TEST(Reset, KeepsAGroupOfThatName) {
    write("a/width/b", 1);
    Property<int> const width{"a/width"};
    EXPECT_FALSE(width.isSet());
    width.reset();
    EXPECT_EQ(1, read<int>("a/width/b"));
}

TEST(Reset, ReleasesTheLockIfAListenerThrows) {
    struct Throwing : Noting {
        using Noting::Noting;
        void propertyChanged(std::string const&) override { throw utils::Exception("no"); }
    };
    Property<int> const width{"a/width"};
    width.set(1);
    Throwing const listener("a");
    EXPECT_EQ("no", failure([&] { width.reset(); }));
    EXPECT_TRUE(support::lockIsFree());
    EXPECT_FALSE(width.isSet());
}

TEST(Reset, RemovesGroupsThatBecomeEmpty) {
    Property<int> const property{"a/b/x"};
    property.set(1);
    write("a/y", 1);
    property.reset();
    EXPECT_FALSE(_Register::getInstance()->propertyExists("a/b", SCOPE_USER));
    EXPECT_TRUE(_Register::getInstance()->propertyExists("a", SCOPE_USER));
}

TEST(Reset, RemovesTheGroupsThatAllDeclaredPropertiesLeaveEmpty) {
    Property<int> const one{"a/b/x"};
    Property<int> const other{"a//b/x/"};
    one.set(1);
    resetDeclaredProperties();
    EXPECT_FALSE(_Register::getInstance()->propertyExists("a", SCOPE_USER));
}
