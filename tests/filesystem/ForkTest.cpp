// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

#include "FileSystemSupport.h"
#include "filesystem/RAMFileSystem.h"
#include "support/Allocators.h"
#include "support/ChildProcess.h"

// A child that is forked while another thread of its parent writes a tree must write the same tree.

namespace support {
namespace {

/** Unordered names, so many that sorting them takes longer than a fork. */
void fill(RAMFileSystem& files) {
    constexpr int count = 200'000;
    ASSERT_TRUE(files.mkdir(text("/d")));
    for (int i = 0; i < count; ++i)
        ASSERT_TRUE(files.mkdir(text("/d/" + std::to_string(i * 7'919L % count))));
}

std::string written(RAMFileSystem const& files) {
    RAMFileSystem target;
    FileHandle* const handle = openedForWriting(target, "/f");
    EXPECT_TRUE(files.serialize(text("/d"), *handle));
    target.close(handle);
    return readFile(target, "/f").value_or("");
}

TEST(Fork, WhileAThreadSortsNamesLeavesTheChildAnIntactTree) {
#ifdef UNDER_A_SANITIZER
    GTEST_SKIP() << "the sanitizer's allocator may be locked in a child forked while another thread runs";
#endif
    for (int round = 0; round < 3; ++round) {
        RAMFileSystem files;
        fill(files);
        RAMFileSystem reference;
        fill(reference);
        std::string const expected = written(reference);
        std::atomic<bool> begun{false};
        std::thread writer([&] {
            begun = true;
            EXPECT_EQ(expected.size(), written(files).size());
        });
        while (!begun)
            std::this_thread::yield();
        int const status = inChild(
            [&] {
                ::alarm(30); // for a child that hangs
                EXPECT_TRUE(expected == written(files));
            },
            Leave::atOnce);
        writer.join();
        ASSERT_EQ(0, status) << round;
    }
}

} // namespace
} // namespace support
