// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "notification/Listener.h"
#include "values/Forms.h"

// Recording a change takes no lock. Recording allocates memory, so the program's allocation function can check the lock
// at that time.

namespace {

bool watching = false;
bool lockWasFree = false;
int allocations = 0;

void* allocate(std::size_t size) {
    if (watching) {
        watching = false;
        lockWasFree = support::lockIsFree();
    }
    ++allocations;
    void* const memory = std::malloc(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

template <class Form>
class Recording : public forms::Test<Form> {
protected:
    Recording() { this->settings.addCallback("elsewhere", &_listener); }
    ~Recording() override { this->settings.removeCallback(&_listener); }

private:
    notification::Listener _listener; // without any listener, changes are not recorded
};
TYPED_TEST_SUITE(Recording, forms::Both, forms::Names);

TYPED_TEST(Recording, TakesNoLock) {
    std::string const name(100, 'x');
    watching = true;
    this->settings.markAsChanged(nullptr, name);
    ASSERT_FALSE(watching) << "recording needed no memory";
    EXPECT_TRUE(lockWasFree);
}

TYPED_TEST(Recording, KeepsALockThatItsCallerHolds) {
    boost::unique_lock<boost::recursive_mutex> const lock(*utils::properties::_Register::_mutex);
    std::string const name(100, 'x');
    lockWasFree = true;
    watching = true;
    this->settings.markAsChanged(nullptr, name);
    EXPECT_FALSE(lockWasFree);
}

TEST(AnnouncedWrite, NeedsNoMemoryAfterTheFirst) {
    struct Quiet : utils::properties::_Register::Callback {
        void propertyChanged(std::string const& /*name*/) override { ++told; }
        void* owner() override { return this; }

        int told = 0;
    };
    auto& settings = *utils::properties::_Register::getInstance();
    Quiet listener;
    std::string const name = "a group with a long name/a property with a long name";
    settings.addCallback(name, &listener);
    settings._writeInteger(nullptr, name, 1, utils::properties::SCOPE_USER);
    int const before = allocations;
    settings._writeInteger(nullptr, name, 2, utils::properties::SCOPE_USER);
    EXPECT_EQ(before, allocations);
    settings.removeCallback(&listener);
    EXPECT_EQ(2, listener.told);
}

} // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
