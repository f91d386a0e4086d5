// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include <QString>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem/ChangeLog.h>
#include <filesystem/Direct.h>
#include <filesystem/RAMFileSystem.h>

#include "faults/Allocation.h"

// Parts of the in-memory file system that have to do without memory, or undo what they have done.

namespace {

using faults::Afterwards;
using faults::FailingAllocation;
using filesystem::ChangeLog;
using filesystem::RAMFileSystem;
using ::testing::AnyOf;
using ::testing::ElementsAre;

void put(RAMFileSystem& files, std::string const& path, std::string const& bytes) {
    char* const content = filesystem::direct::rewrite(files, "user", path, bytes.size());
    ASSERT_NE(nullptr, content);
    std::copy(bytes.begin(), bytes.end(), content);
}

/** A file system with the file "x" in the directory "user", and a change log. */
class FailingChangeLog : public testing::Test {
protected:
    FailingChangeLog() {
        files.mkdir(QStringLiteral("/user"));
        put(files, "x", "1");
    }
    // The destructor of a file system may throw; the destructor of a test must not.
    ~FailingChangeLog() noexcept override = default;

    RAMFileSystem files;
    int wakes = 0;
};

} // namespace

TEST_F(FailingChangeLog, CoversTheWholeDirectoryIfAChangeCannotBeRecorded) {
    ChangeLog log(files, "user", [this] { ++wakes; });
    {
        FailingAllocation const fault(1, Afterwards::nothingIsLeft);
        put(files, "x", "2");
        ASSERT_TRUE(FailingAllocation::hasFailed());
    }
    EXPECT_EQ(1, wakes);
    EXPECT_FALSE(log.isEmpty());
    EXPECT_THAT(log.take(), ElementsAre(""));
}

TEST_F(FailingChangeLog, CoversARemovalThatCannotBeRecorded) {
    ChangeLog log(files, "user", [] {});
    bool hasFailed = true;
    for (long nth = 1; hasFailed; ++nth) {
        put(files, "x", "2");
        static_cast<void>(log.take());
        {
            FailingAllocation const fault(nth, Afterwards::memoryIsThere);
            try {
                files.remove(QStringLiteral("/user/x"));
            } catch (std::bad_alloc const&) {
            }
            hasFailed = FailingAllocation::hasFailed();
        }
        if (!files.exists(QStringLiteral("/user/x"))) {
            EXPECT_THAT(log.take(), AnyOf(ElementsAre("x"), ElementsAre(""))) << nth;
        }
    }
}

TEST_F(FailingChangeLog, CoversTheWholeDirectoryAfterItCouldNotBeRead) {
    ChangeLog log(files, "user", [] {});
    put(files, "x", "2");
    {
        FailingAllocation const fault(1, Afterwards::memoryIsThere);
        EXPECT_THROW(static_cast<void>(log.take()), std::bad_alloc);
    }
    EXPECT_THAT(log.take(), ElementsAre(""));
}

TEST(FailingMake, LeavesNoNewDirectory) {
    std::string const around = "a group whose name is longer than fits in a node";
    std::string const path = around + "/a property whose name is longer than fits in a node";
    bool hasFailed = true;
    for (long nth = 1; hasFailed; ++nth) {
        RAMFileSystem files;
        files.mkdir(QStringLiteral("/user"));
        bool isMade = true;
        {
            FailingAllocation const fault(nth, Afterwards::memoryIsThere);
            try {
                char* const content = filesystem::direct::make(files, "user", around, path, 100'000);
                std::fill_n(content, 100'000, 'v');
            } catch (std::bad_alloc const&) {
                isMade = false;
            }
            hasFailed = FailingAllocation::hasFailed();
        }
        EXPECT_EQ(isMade, files.exists(QStringLiteral("/user/") + QString::fromStdString(around))) << nth;
        EXPECT_TRUE(isMade || hasFailed) << nth;
    }
}
