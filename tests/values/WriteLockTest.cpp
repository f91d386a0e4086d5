// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <boost/thread/locks.hpp>
#include <gtest/gtest.h>

#include "values/Forms.h"

// A writer that has taken the lock holds it until it returns or throws. The program's own allocation function checks
// the lock whenever a writer allocates memory.

namespace {

thread_local bool watching = false;
bool wasHeld = false;
bool wasReleased = false;

struct Watch {
    Watch() { watching = true; }
    Watch(Watch const&) = delete;
    Watch& operator=(Watch const&) = delete;
    ~Watch() { watching = false; }
};

void* allocate(std::size_t size) {
    if (watching) {
        watching = false; // the check allocates memory, too
        bool const isFree = support::lockIsFree();
        wasReleased = wasReleased || (wasHeld && isFree);
        wasHeld = wasHeld || !isFree;
        watching = true;
    }
    void* const memory = std::malloc(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

template <class Form>
class WriteLock : public forms::Test<Form> {
protected:
    /** Result: how the write ended. */
    std::string write(std::string const& name) {
        std::vector<int> const value(100, 42);
        return forms::outcome([&] {
            Watch const watch;
            this->settings._writeIntegers(nullptr, name, value, utils::properties::SCOPE_USER);
        });
    }

    static void expectHeldThroughout() {
        EXPECT_TRUE(wasHeld) << "the write allocated no memory";
        EXPECT_FALSE(wasReleased);
        EXPECT_TRUE(support::lockIsFree());
    }
};
TYPED_TEST_SUITE(WriteLock, forms::Both, forms::Names);

TYPED_TEST(WriteLock, IsHeldWhileAPropertyAndItsGroupsAreCreated) {
    EXPECT_EQ("done", this->write("a group of some length/another group/a property of some length"));
    this->expectHeldThroughout();
}

TYPED_TEST(WriteLock, IsHeldUntilAWriteIsRefusedAfterItsGroupsWereCreated) {
    std::string const name = "a group of some length/another group/..";
    EXPECT_EQ(name + " no such property.", this->write(name));
    EXPECT_TRUE(
        this->settings.groupExists("a group of some length/another group", utils::properties::SCOPE_USER));
    this->expectHeldThroughout();
}

TYPED_TEST(WriteLock, IsHeldUntilAWriteToAGroupIsRefused) {
    std::string const name = "a group of some length, longer than any buffer";
    this->settings.addGroup(name, utils::properties::SCOPE_USER);
    EXPECT_EQ(name + " no such property.", this->write(name));
    this->expectHeldThroughout();
}

TYPED_TEST(WriteLock, IsNotNeededToRefuseABadScope) {
    boost::unique_lock<boost::recursive_mutex> const lock(*utils::properties::_Register::_mutex);
    std::string ended;
    std::thread([&] {
        ended = forms::outcome([&] {
            this->settings._writeInteger(nullptr, "x", 1, static_cast<utils::properties::RegisterScope>(3));
        });
    }).join();
    EXPECT_EQ("Bad scope value.", ended);
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
