// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "register/RegisterFile.h"
#include "support/ChildProcess.h"
#include "support/Failure.h"
#include "support/TemporaryDirectory.h"
#include "threads/Crew.h"

namespace {

using support::RegisterProbe;
using support::TemporaryDirectory;
using threads::Crew;
using threads::rounds;
using utils::properties::_Register;

constexpr int callers = 8;

/** The results of `getInstance()` in several threads that begin together; null for an exception. */
std::vector<_Register*> instances(std::vector<std::string>& failures) {
    std::vector<_Register*> got(callers, nullptr);
    failures.assign(callers, "");
    Crew crew;
    crew.add(callers, 1, 1, [&](int caller, int /*round*/) {
        auto const index = static_cast<std::size_t>(caller);
        failures[index] = support::failure([&] { got[index] = _Register::getInstance(); });
    });
    crew.run();
    return got;
}

} // namespace

// Each round runs in a new process, because a process builds its register only once.
TEST(FirstUse, BySeveralThreadsLoadsTheRegisterOnce) {
    TemporaryDirectory const directory;
    saveInteger(directory.string(), "loaded", 42);
    for (int round = 0; round < rounds(10); ++round)
        ASSERT_EQ(0, support::inChild([&] {
                      RegisterProbe::_UserRegisterPath = directory.string();
                      std::vector<int> loaded(callers, 0);
                      std::vector<_Register*> got(callers, nullptr);
                      Crew crew;
                      crew.add(callers, 1, 2, [&](int caller, int /*round*/) {
                          auto const index = static_cast<std::size_t>(caller);
                          got[index] = _Register::getInstance();
                          got[index]->_readInteger("loaded", loaded[index]);
                      });
                      crew.run();
                      EXPECT_NE(nullptr, got.front());
                      EXPECT_EQ(std::vector<_Register*>(callers, got.front()), got);
                      EXPECT_EQ(std::vector<int>(callers, 42), loaded);
                  }));
}

TEST(FirstUse, ThatCannotLoadFailsForEveryThreadAndMayBeRepeated) {
    TemporaryDirectory const directory;
    saveInteger(directory.string(), "loaded", 42);
    std::string const sound = fileBytes(directory / registerFileName);
    std::string damaged = sound;
    damaged.back() = static_cast<char>(damaged.back() ^ 1);
    writeFile(directory / registerFileName, damaged);
    RegisterProbe::_UserRegisterPath = directory.string();

    std::vector<std::string> failures;
    EXPECT_EQ(std::vector<_Register*>(callers, nullptr), instances(failures));
    EXPECT_EQ(std::vector<std::string>(callers, directory.string() + "/" + registerFileName +
                                                    ": damaged: its checksum does not match"),
              failures);
    EXPECT_EQ(damaged, fileBytes(directory / registerFileName));

    writeFile(directory / registerFileName, sound);
    std::vector<_Register*> const got = instances(failures);
    EXPECT_EQ(std::vector<std::string>(callers, "nothing"), failures);
    EXPECT_EQ(std::vector<_Register*>(callers, got.front()), got);
    EXPECT_EQ(42, integer(*got.front(), "loaded"));
}
