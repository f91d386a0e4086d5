// SPDX-License-Identifier: Apache-2.0
#include <exception>
#include <memory>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include <utils/Exception.h>

using utils::Exception;

static_assert(std::is_convertible_v<Exception*, std::exception*>);
static_assert(std::is_nothrow_default_constructible_v<Exception>);
static_assert(std::is_nothrow_copy_constructible_v<Exception>);
static_assert(std::is_nothrow_copy_assignable_v<Exception>);
static_assert(std::has_virtual_destructor_v<Exception>);

TEST(Exception, HasNoMessageByDefault) {
    EXPECT_STREQ("", Exception().what());
}

TEST(Exception, HasTheGivenMessage) {
    EXPECT_STREQ("Bad scope value.", Exception("Bad scope value.").what());
    EXPECT_STREQ("", Exception("").what());
    EXPECT_STREQ("Gr\xc3\xb6\xc3\x9f"
                 "e",
                 Exception(std::string("Gr\xc3\xb6\xc3\x9f"
                                       "e"))
                     .what());
}

TEST(Exception, TreatsNullAsAnEmptyMessage) {
    char const* const none = nullptr;
    EXPECT_STREQ("", Exception(none).what());
}

TEST(Exception, CopiesTheMessage) {
    std::string text = "first";
    Exception const fromString(text);
    Exception const fromPointer(text.c_str());
    text = "other";
    EXPECT_STREQ("first", fromString.what());
    EXPECT_STREQ("first", fromPointer.what());
}

TEST(Exception, IsCaughtLikeAnyOtherException) {
    std::string caught;
    try {
        throw Exception("message");
    } catch (std::exception const& thrown) {
        caught = thrown.what();
    }
    EXPECT_EQ("message", caught);
}

TEST(Exception, IsCopiedWithItsMessage) {
    auto original = std::make_unique<Exception>("message");
    Exception const copy(*original);
    original.reset();
    EXPECT_STREQ("message", copy.what());
}

TEST(Exception, IsAssignedTheMessageOfAnother) {
    Exception target("old");
    {
        Exception const source("new");
        target = source;
        EXPECT_STREQ("new", source.what());
    }
    EXPECT_STREQ("new", target.what());
}

TEST(Exception, KeepsItsMessageWhenAssignedToItself) {
    Exception target("message");
    Exception const& same = target;
    target = same;
    EXPECT_STREQ("message", target.what());
}

TEST(Exception, KeepsItsMessageThroughAnExceptionPointer) {
    std::exception_ptr const kept = std::make_exception_ptr(Exception("message"));
    try {
        std::rethrow_exception(kept);
    } catch (Exception const& thrown) {
        EXPECT_STREQ("message", thrown.what());
    }
}
