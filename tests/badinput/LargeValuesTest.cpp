// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "notification/Listener.h"
#include "support/RegisterProbe.h"
#include "support/TemporaryDirectory.h"
#include "values/Forms.h"
#include "values/Kinds.h"

// Values far larger than ordinary settings behave like any other: writing, reading, saving and loading keeps every
// byte, listeners are notified once, and readers of another kind refuse them.

namespace {

using utils::properties::_Register;
using utils::properties::SCOPE_USER;

#if defined(__SANITIZE_THREAD__)
constexpr bool underThreadSanitizer = true;
#else
constexpr bool underThreadSanitizer = false;
#endif

#if defined(__SANITIZE_ADDRESS__)
constexpr bool underAddressSanitizer = true;
#elif defined(__has_feature)
constexpr bool underAddressSanitizer = __has_feature(address_sanitizer);
#else
constexpr bool underAddressSanitizer = false;
#endif

/** A derived register that, unlike a probe, does not list calls: the list would be longer than the value. */
struct Bare : _Register {};

struct BareForm {
    static constexpr char const* name = "Derived";
    Bare settings;
};

struct LongString : kinds::String {
    static Value large() { return std::string(std::size_t{256} << 20U, 's'); }
};

/** Ten million elements, with each of the kind's samples among them. */
template <class Kind>
struct LongList : Kind {
    static typename Kind::Value large() { return kinds::longList<Kind>(10'000'000); }
};

template <class Case>
class LargeValue : public forms::Test<typename Case::Form> {};

template <class Kind>
using Plain = kinds::Case<Kind, forms::Plain>;
template <class Kind>
using Derived = kinds::Case<Kind, BareForm>;
using Cases = testing::Types<Plain<LongString>, Derived<LongString>, Plain<LongList<kinds::Strings>>,
                             Derived<LongList<kinds::Strings>>, Plain<LongList<kinds::Numbers>>,
                             Derived<LongList<kinds::Numbers>>, Plain<LongList<kinds::Integers>>,
                             Derived<LongList<kinds::Integers>>, Plain<LongList<kinds::Booleans>>,
                             Derived<LongList<kinds::Booleans>>>;
TYPED_TEST_SUITE(LargeValue, Cases, kinds::CaseNames);

} // namespace

TYPED_TEST(LargeValue, BehavesLikeAnyOther) {
    using Kind = typename TypeParam::Kind;
    constexpr bool isString = std::is_same_v<Kind, LongString>;
    using Other = std::conditional_t<isString, kinds::Integers, kinds::String>;
    if (underThreadSanitizer)
        GTEST_SKIP() << "single-threaded, and takes minutes under ThreadSanitizer";
    if (underAddressSanitizer && !isString && std::is_same_v<typename TypeParam::Form, BareForm>)
        GTEST_SKIP() << "a call for each field takes minutes under AddressSanitizer; shorter lists cover the "
                        "same code";
    if (underAddressSanitizer && std::is_same_v<typename Kind::Value, std::vector<std::string>>)
        GTEST_SKIP() << "takes half a minute under AddressSanitizer; shorter lists cover the same code";
    _Register& held = this->settings;
    support::TemporaryDirectory const directory;
    support::RegisterProbe::_UserRegisterPath = directory.string();
    auto const value = Kind::large();
    notification::Listener listener;
    held.addCallback("x", &listener);

    Kind::write(held, nullptr, "x", value, SCOPE_USER);
    EXPECT_EQ(1U, listener.told.size());
    held.removeCallback(&listener);
    EXPECT_EQ(Kind::tags[0], held.readPropertyType("x", nullptr));

    auto other = Other::one();
    EXPECT_EQ("PropertyBadType", forms::outcome([&] { Other::read(held, "x", other); }));
    EXPECT_EQ(Other::one(), other);
    EXPECT_TRUE(Kind::read(held, "x") == value);

    held.save();
    ASSERT_TRUE(std::filesystem::exists(directory / "Velmorand.dat"));
    held.delProperty("", SCOPE_USER);
    EXPECT_EQ("PropertyNotFound", forms::outcome([&] { Other::read(held, "x", other); }));
    ASSERT_EQ("done", forms::outcome([&] { held.load(); }));
    EXPECT_TRUE(Kind::read(held, "x") == value);
    EXPECT_TRUE(support::lockIsFree());
    support::RegisterProbe::_UserRegisterPath.clear(); // the destructor must not save
}
