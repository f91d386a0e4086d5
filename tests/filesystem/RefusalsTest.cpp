// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include "FileSystemSupport.h"
#include "utils/Exception.h"

using namespace support;

namespace {

/** Reports that every name exists. */
struct Crowded : RAMFileSystem {
    [[nodiscard]] bool exists(QString const& /*path*/) const override { return true; }
};

/** Makes the `failing`th seek from now on fail. */
struct Unsteady : RAMFileSystem {
    bool seek(FileHandle* handle, long offset, FileSystemOrigin origin) override {
        return --failing != 0 && RAMFileSystem::seek(handle, offset, origin);
    }
    int failing = 0;
};

} // namespace

TEST(UniqueFileName, IsEmptyWhenEveryNameIsTaken) {
    EXPECT_TRUE(Crowded().getUniqueFileName("/", "n", "").isEmpty());
}

TEST(SizeOfAHandle, IsMinusOneIfSeekingFails) {
    Unsteady files;
    writeFile(files, "/file", "content");
    FileHandle* const handle = openedForReading(files, "/file");
    for (int const failing : {1, 2}) {
        files.failing = failing;
        EXPECT_EQ(-1, files.size(handle)) << failing;
    }
    files.failing = 0;
    EXPECT_EQ(7, files.size(handle));
    files.close(handle);
}

TEST(Unserialise, RefusesAnInvalidPath) {
    RAMFileSystem files;
    ASSERT_TRUE(files.mkdir("/a"));
    FileHandle* handle = openedForWriting(files, "/file");
    ASSERT_TRUE(files.serialize(*handle));
    files.close(handle);
    handle = openedForReading(files, "/file");
    try {
        files.unserialize("/" + unpairedSurrogate(), *handle);
        ADD_FAILURE() << "accepted";
    } catch (utils::Exception const& failure) {
        EXPECT_THAT(failure.what(), ::testing::EndsWith(": invalid path in memory"));
    }
    EXPECT_EQ((std::vector<std::string>{"a", "file"}), listing(files, "/"));
    files.close(handle);
}
