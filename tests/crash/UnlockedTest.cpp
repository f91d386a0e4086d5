// SPDX-License-Identifier: Apache-2.0
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem/RealFileSystem.h>
#include <utils/properties/Register.h>

#include "Harness.h"
#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

namespace {

using namespace crash;
using support::inChild;
using utils::properties::_Register;
using utils::properties::SCOPE_USER;

constexpr int saves = 30;
constexpr unsigned secondsAtMost = 20; // for a process that hangs in a broken tree

/** The problem with the register file in a directory; empty if there is none. */
std::string problemOf(std::string const& directory) {
    filesystem::RealFileSystem disk(QString::fromStdString(directory));
    filesystem::FileHandle* handle = nullptr;
    if (!disk.open("Velmorand.dat", &handle, filesystem::FileSystem::MODE_READ))
        return "cannot be opened";
    try {
        filesystem::RAMFileSystem().unserialize(*handle);
    } catch (utils::Exception const& failure) {
        return failure.what();
    }
    return {};
}

/** Writes and deletes properties and groups, always under the register's lock. */
[[noreturn]] void change(_Register& settings, unsigned seed) {
    for (unsigned random = seed;;) {
        random = random * 1'103'515'245U + 12'345U;
        std::string const group = "group " + std::to_string(random >> 16U & 7U);
        std::string const name = group + "/name " + std::to_string(random >> 20U & 255U);
        unsigned const choice = random >> 28U;
        if (choice == 0)
            settings.delProperty(group, SCOPE_USER);
        else if (choice < 5)
            settings.delProperty(name, SCOPE_USER);
        else if (choice < 10)
            settings._writeString(nullptr, name, std::string(random >> 16U & 127U, 'x'), SCOPE_USER);
        else
            settings._writeInteger(nullptr, name, 1, SCOPE_USER);
    }
}

/** Saves repeatedly without the lock while two threads change the settings. */
[[noreturn]] void saveUnlocked(std::string const& directory, unsigned seed) {
    rlimit const none = {0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC),
           STDERR_FILENO); // drops the C library's messages about a broken heap
    ::alarm(secondsAtMost);
    _Register::initialize("", directory);
    _Register& settings = *_Register::getInstance();
    for (unsigned const thread : {1U, 2U})
        std::thread([&settings, seed, thread] { change(settings, seed * 2 + thread); }).detach();
    for (int i = 0; i < saves; ++i)
        settings.save();
    ::_exit(0);
}

// Such a program is wrong and may crash, and its files may be inconsistent, but it must not lose a file.
TEST(SavingUnlocked, LeavesAFileThatLoads) {
    long const runs = isThorough() ? 2'000 : 100;
    long ended = 0;
    for (unsigned run = 0; run < runs; ++run) {
        support::TemporaryDirectory const directory;
        ended += inChild([&] { saveUnlocked(directory.string(), run); }) == 0 ? 1 : 0;
        ASSERT_EQ("", problemOf(directory.string())) << "run " << run;
    }
    EXPECT_GT(ended, 0) << "every run crashed";
    figure("runs that saved without the lock", runs);
    figure("of them ended by a crash", runs - ended);
}

} // namespace
