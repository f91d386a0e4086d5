// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "values/Forms.h"
#include "values/Kinds.h"

namespace {

using forms::outcome;
using forms::store;
using utils::properties::PropertyBadType;
using utils::properties::PropertyNotFound;
using utils::properties::SCOPE_GLOBAL;
using utils::properties::SCOPE_TEMPORARY;
using utils::properties::SCOPE_USER;
using utils::properties::Type;

constexpr auto untouched = static_cast<Type>(-77);

template <class Form>
class ReadPropertyType : public forms::Test<Form> {};
TYPED_TEST_SUITE(ReadPropertyType, forms::Both, forms::Names);

TYPED_TEST(ReadPropertyType, ReturnsTheTagsOfEveryKindOfValue) {
    kinds::forEach([this](auto kind) {
        using Kind = decltype(kind);
        Type elements = untouched;
        Kind::write(this->settings, nullptr, "x", Kind::one(), SCOPE_USER);
        EXPECT_EQ(Kind::tags[0], this->settings.readPropertyType("x", &elements)) << Kind::name;
        bool const isList = Kind::tags[1] != '\0';
        EXPECT_EQ(isList ? static_cast<Type>(Kind::tags[1]) : untouched, elements) << Kind::name;
    });
}

TYPED_TEST(ReadPropertyType, AcceptsNullForTheElementTag) {
    kinds::forEach([this](auto kind) {
        using Kind = decltype(kind);
        Kind::write(this->settings, nullptr, "x", Kind::one(), SCOPE_USER);
        EXPECT_EQ(Kind::tags[0], this->settings.readPropertyType("x", nullptr)) << Kind::name;
    });
}

TYPED_TEST(ReadPropertyType, ReturnsUnknownTagsUnchanged) {
    store(this->settings, "/user/x", "?");
    EXPECT_EQ('?', this->settings.readPropertyType("x", nullptr));
}

TYPED_TEST(ReadPropertyType, ReturnsTagsAboveAsciiAsNegative) {
    Type elements = untouched;
    store(this->settings, "/user/x", "\x80");
    EXPECT_EQ(-128, this->settings.readPropertyType("x", &elements));
    EXPECT_EQ(untouched, elements);
    store(this->settings, "/user/x", "L\xFF");
    EXPECT_EQ(utils::properties::TYPE_LIST, this->settings.readPropertyType("x", &elements));
    EXPECT_EQ(-1, elements);
}

TYPED_TEST(ReadPropertyType, TreatsAMissingElementTagAsZero) {
    Type elements = untouched;
    store(this->settings, "/user/x", "L");
    EXPECT_EQ(utils::properties::TYPE_LIST, this->settings.readPropertyType("x", &elements));
    EXPECT_EQ(0, elements);
}

TYPED_TEST(ReadPropertyType, IsZeroForAnEmptyProperty) {
    Type elements = untouched;
    this->settings.addProperty("a/x", SCOPE_USER);
    EXPECT_EQ(0, this->settings.readPropertyType("a/x", &elements));
    EXPECT_EQ(untouched, elements);
}

TYPED_TEST(ReadPropertyType, IsZeroForAGroup) {
    Type elements = untouched;
    this->settings.addGroup("a", SCOPE_USER);
    EXPECT_EQ(0, this->settings.readPropertyType("a", &elements));
    EXPECT_EQ(untouched, elements);
}

TYPED_TEST(ReadPropertyType, RefusesAMissingName) {
    Type elements = untouched;
    EXPECT_EQ("PropertyNotFound", outcome([&] { this->settings.readPropertyType("x", &elements); }));
    EXPECT_EQ(untouched, elements);
    EXPECT_TRUE(support::lockIsFree());
}

TYPED_TEST(ReadPropertyType, FindsTheUserThenTheGlobalThenTheTemporaryScope) {
    this->settings._writeInteger(nullptr, "x", 1, SCOPE_USER);
    this->settings._writeNumber(nullptr, "x", 1, SCOPE_GLOBAL);
    this->settings._writeBoolean(nullptr, "x", true, SCOPE_TEMPORARY);
    EXPECT_EQ('I', this->settings.readPropertyType("x", nullptr));
    this->settings.delProperty("x", SCOPE_USER);
    EXPECT_EQ('N', this->settings.readPropertyType("x", nullptr));
    this->settings.delProperty("x", SCOPE_GLOBAL);
    EXPECT_EQ('B', this->settings.readPropertyType("x", nullptr));
}

TYPED_TEST(ReadPropertyType, ReleasesTheLock) {
    this->settings._writeInteger(nullptr, "x", 1, SCOPE_USER);
    this->settings.readPropertyType("x", nullptr);
    EXPECT_TRUE(support::lockIsFree());
}

template <class Thrown>
class PropertyException : public testing::Test {
protected:
    /** The handler that takes a thrown exception, of those that an application could have. */
    static std::string handler() {
        try {
            throw Thrown();
        } catch (utils::Exception const&) {
            return "utils::Exception";
        } catch (std::exception const&) {
            return "std::exception";
        } catch (Thrown const&) {
            return "its own";
        }
    }
};
struct ExceptionNames {
    template <class Thrown>
    static std::string GetName(int /*index*/) {
        return std::is_same_v<Thrown, PropertyBadType> ? "BadType" : "NotFound";
    }
};
using Exceptions = testing::Types<PropertyBadType, PropertyNotFound>;
TYPED_TEST_SUITE(PropertyException, Exceptions, ExceptionNames);

TYPED_TEST(PropertyException, IsCaughtOnlyByItsOwnName) {
    EXPECT_EQ("its own", this->handler());
}

TYPED_TEST(PropertyException, AddsNothingToItsBase) {
    EXPECT_TRUE((std::is_base_of_v<utils::Exception, TypeParam>));
    EXPECT_FALSE((std::is_convertible_v<TypeParam*, utils::Exception*>));
    EXPECT_EQ(sizeof(utils::Exception), sizeof(TypeParam));
}

} // namespace
