// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <boost/thread/locks.hpp>
#include <gtest/gtest.h>

#include "support/BlockedThread.h"
#include "values/Forms.h"
#include "values/Kinds.h"

// A value that is guarded by the register's lock may change while a writer of it waits for that lock.

namespace {

using forms::content;
using utils::properties::_Register;

template <class Case>
class ChangingValue : public kinds::Test<Case> {
protected:
    using Value = typename kinds::Test<Case>::Value;

    /** Changes a value while a writer of it waits for the lock. Result: the bytes that are written. */
    std::string writeWhileItChanges(Value before, Value const& after) {
        boost::unique_lock<boost::recursive_mutex> lock(*_Register::_mutex);
        support::BlockedThread writer([&] { this->write("a/x", before); });
        before = after;
        lock.unlock();
        writer.join();
        return content(this->settings, "/user/a/x");
    }

    void expectTheLaterValue(Value const& before, Value const& after) {
        std::string const expected = kinds::recordOf<typename Case::Kind>(after);
        EXPECT_TRUE(expected == writeWhileItChanges(before, after)) << "new property";
        EXPECT_TRUE(expected == writeWhileItChanges(before, after)) << "existing property";
    }
};
TYPED_TEST_SUITE(ChangingValue, kinds::AllCases, kinds::CaseNames);

TYPED_TEST(ChangingValue, IsWrittenWithItsStateUnderTheLock) {
    this->expectTheLaterValue(TypeParam::Kind::one(), TypeParam::Kind::other());
    this->expectTheLaterValue(TypeParam::Kind::other(), TypeParam::Kind::one());
}

template <class Case>
class ChangingList : public ChangingValue<Case> {};
TYPED_TEST_SUITE(ChangingList, kinds::ListCases, kinds::CaseNames);

TYPED_TEST(ChangingList, MayGrow) {
    using Kind = typename TypeParam::Kind;
    this->expectTheLaterValue(kinds::longList<Kind>(4), kinds::longList<Kind>(10'000));
}

TYPED_TEST(ChangingList, MayShrink) {
    using Kind = typename TypeParam::Kind;
    this->expectTheLaterValue(kinds::longList<Kind>(10'000), kinds::longList<Kind>(4));
}

} // namespace
