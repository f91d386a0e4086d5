// SPDX-License-Identifier: Apache-2.0
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <velmorand/Property.h>
#include <velmorand/QtTypes.h>

#include "support/Failure.h"

using namespace velmorand;

// Lengths in records have 31 bits. Longer values must be refused: the register would store them truncated or empty.

namespace {

using support::failure;

constexpr std::size_t tooMany = std::size_t{std::numeric_limits<int>::max()} + 1;

} // namespace

TEST(AValueTooLargeForARecord, IsRefusedAsAString) {
    write("a/b", "before");
    EXPECT_EQ("cannot write \"a/b\": too long: 2147483648 bytes (at most 2147483647)",
              failure([] { write("a/b", std::string(tooMany, 'x')); }));
    EXPECT_EQ("before", read<std::string>("a/b"));
}

TEST(AValueTooLargeForARecord, IsRefusedAsAStringInAList) {
    EXPECT_EQ("cannot write \"a/b\": too long: 2147483648 bytes (at most 2147483647)", failure([] {
                  write("a/b", std::vector<std::string>{"x", std::string(tooMany, 'x')});
              }));
    EXPECT_FALSE(Property<std::vector<std::string>>("a/b").isSet());
}

TEST(AValueTooLargeForARecord, IsRefusedAsAList) {
    EXPECT_EQ("cannot write \"a/b\": too long: 2147483648 elements (at most 2147483647)",
              failure([] { write("a/b", std::vector<bool>(tooMany)); }));
}

TEST(AValueTooLargeForAQtType, IsNotValid) {
    EXPECT_FALSE(Stored<QString>::load(std::string(std::size_t{1} << 30, 'x')));
    EXPECT_FALSE(Stored<QByteArray>::load(std::string(tooMany - 1, 'x')));
}
