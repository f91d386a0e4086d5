// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"
#include "values/Forms.h"
#include "values/Kinds.h"

namespace {

using support::RegisterProbe;
using utils::properties::_Register;
using utils::properties::SCOPE_USER;

template <class Kind>
class SavedValue : public testing::Test {
protected:
    static void writeAll(_Register& settings) {
        int number = 0;
        for (auto const& value : Kind::zoo())
            Kind::write(settings, nullptr, nameOf(number++), value, SCOPE_USER);
    }

    static void expectAll(_Register& settings) {
        int number = 0;
        for (auto const& value : Kind::zoo())
            EXPECT_EQ(kinds::recordOf<Kind>(value),
                      kinds::recordOf<Kind>(Kind::read(settings, nameOf(number++))));
    }

    support::TemporaryDirectory directory;

private:
    static std::string nameOf(int number) { return "group/value " + std::to_string(number); }
};
TYPED_TEST_SUITE(SavedValue, kinds::All, kinds::KindNames);

TYPED_TEST(SavedValue, IsFoundByTheNextProcess) {
    auto const process = [this](void (*use)(_Register&)) {
        return support::inChild([&] {
            _Register::initialize(this->directory.string(), this->directory.string());
            use(*_Register::getInstance());
        });
    };
    EXPECT_EQ(0, process(&TestFixture::writeAll));
    EXPECT_EQ(0, process(&TestFixture::expectAll));
}

TYPED_TEST(SavedValue, IsFoundByAnotherRegister) {
    RegisterProbe::_UserRegisterPath = this->directory.string();
    {
        RegisterProbe first;
        this->writeAll(first);
        first.save();
    }
    RegisterProbe second;
    this->expectAll(second);
    RegisterProbe::_UserRegisterPath.clear();
}

} // namespace
