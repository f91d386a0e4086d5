// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <atomic>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "notification/Listener.h"
#include "values/Forms.h"

namespace {

using notification::Listener;
using utils::properties::_Register;
using utils::properties::SCOPE_TEMPORARY;
using utils::properties::SCOPE_USER;

constexpr int rounds = 300;

/** Runs `body(0)` to `body(count - 1)` at the same time, each on its own thread. */
template <class Body>
std::vector<std::thread> start(int count, Body body) {
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        threads.emplace_back(body, i);
    return threads;
}

void join(std::vector<std::thread>& threads) {
    for (std::thread& thread : threads)
        thread.join();
}

/** A register; a derived one has no fast paths, but must be thread-safe as well. */
struct Bare : _Register {};

struct BareForm {
    static constexpr char const* name = "Derived";
    Bare settings;
};

template <class Form>
class Threads : public forms::Test<Form> {};
using Forms = testing::Types<forms::Plain, BareForm>;
TYPED_TEST_SUITE(Threads, Forms, forms::Names);

TYPED_TEST(Threads, EveryChangeIsAnnouncedOnce) {
    _Register& shared = this->settings;
    Listener listener;
    shared.addCallback("shared", &listener);
    auto writers = start(4, [&shared](int writer) {
        for (int round = 0; round < rounds; ++round)
            shared._writeInteger(nullptr, "shared/" + std::to_string(writer), round, SCOPE_USER);
    });
    join(writers);
    shared.removeCallback(&listener);
    for (char const* name : {"shared/0", "shared/1", "shared/2", "shared/3"})
        EXPECT_EQ(rounds, std::count(listener.told.begin(), listener.told.end(), name)) << name;
}

TYPED_TEST(Threads, ReadersSeeWholeValues) {
    _Register& shared = this->settings;
    shared._writeIntegers(nullptr, "shared/list", {}, SCOPE_USER);
    shared._writeString(nullptr, "shared/text", "", SCOPE_TEMPORARY);
    std::atomic<int> torn{0};
    auto writers = start(2, [&shared](int writer) {
        for (int round = 0; round < rounds; ++round) {
            int const size = (round * 7 + writer) % 50;
            shared._writeIntegers(nullptr, "shared/list",
                                  std::vector<int>(static_cast<std::size_t>(size), size), SCOPE_USER);
            shared._writeString(nullptr, "shared/text",
                                std::string(static_cast<std::size_t>(size), static_cast<char>('0' + size)),
                                SCOPE_TEMPORARY);
        }
    });
    auto readers = start(2, [&shared, &torn](int /*reader*/) {
        std::vector<int> list;
        std::string text;
        for (int round = 0; round < rounds; ++round) {
            shared._readIntegers("shared/list", list);
            shared._readString("shared/text", text);
            auto const size = static_cast<int>(list.size());
            auto const letter = static_cast<char>('0' + static_cast<int>(text.size()));
            if (std::count(list.begin(), list.end(), size) != size ||
                text.find_first_not_of(letter) != std::string::npos)
                ++torn;
        }
    });
    join(writers);
    join(readers);
    EXPECT_EQ(0, torn);
}

TYPED_TEST(Threads, ListenersMayBeAddedAndRemoved) {
    _Register& shared = this->settings;
    Listener permanent;
    shared.addCallback("shared", &permanent);
    auto visitors = start(2, [&shared](int /*visitor*/) {
        for (int round = 0; round < rounds; ++round) {
            Listener visitor;
            shared.addCallback("shared/x", &visitor);
            shared.addCallback("shared", &visitor);
            if (round % 2 == 0)
                shared.removeCallback("shared/x", &visitor);
            shared.removeCallback(&visitor);
        }
    });
    auto writers = start(2, [&shared](int writer) {
        for (int round = 0; round < rounds; ++round)
            shared._writeNumber(nullptr, "shared/x", writer, SCOPE_USER);
    });
    join(visitors);
    join(writers);
    shared.removeCallback(&permanent);
    EXPECT_EQ(2U * rounds, permanent.told.size());
}

TYPED_TEST(Threads, ARemovalWaitsUntilTheListenerHasReturned) {
    _Register& shared = this->settings;
    Listener listener;
    std::promise<void> inside;
    bool returned = false; // guarded by the register's lock, as this test shows
    listener.whenTold = [&](std::string const& /*name*/) {
        inside.set_value();
        for (int i = 0; i < 1000; ++i)
            std::this_thread::yield();
        returned = true;
    };
    shared.addCallback("x", &listener);
    std::thread writer([&shared] { shared._writeInteger(nullptr, "x", 1, SCOPE_USER); });
    inside.get_future().wait();
    shared.removeCallback(&listener);
    EXPECT_TRUE(returned);
    writer.join();
}

} // namespace
