// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <chrono>
#include <thread>

#include <unistd.h>

#include <filesystem/FileWatch.h>
#include <filesystem/PrivateDirectory.h>

#include "DiskSupport.h"
#include "support/Allocators.h"

// If a program has closed its standard streams, the library's files must not get their descriptor numbers.

namespace {

using namespace support;

constexpr int standardStreams[] = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};

void closeStandardStreams() {
    for (int const stream : standardStreams)
        ::close(stream);
}

void expectNoStandardStreams() {
    char target[8];
    for (int const stream : standardStreams)
        EXPECT_EQ(-1, ::readlink(("/proc/self/fd/" + std::to_string(stream)).c_str(), target, sizeof target));
}

/** Whether a standard stream's descriptor number belongs to a file whose path begins with `path`. */
bool isStandardStream(std::string const& path) {
    std::string target(path.size(), '\0');
    for (int const stream : standardStreams)
        if (::readlink(("/proc/self/fd/" + std::to_string(stream)).c_str(), target.data(), target.size()) ==
                static_cast<ssize_t>(target.size()) &&
            target == path)
            return true;
    return false;
}

/** Logs to the closed streams from another thread while `body` runs. Result: the number of lines written. */
template <class Body>
long linesLoggedDuring(Body&& body) {
    std::atomic<bool> ended = false;
    std::atomic<long> written = 0;
    std::thread log([&] {
        while (!ended)
            for (int const stream : standardStreams)
                written += ::write(stream, "log line\n", 9) > 0 ? 1 : 0;
    });
    body();
    ended = true;
    log.join();
    return written;
}

class ClosedStandardStreams : public OnDisk {
protected:
    /** Runs `body` in a child without standard streams. */
    template <class Body>
    static void inDaemon(Body&& body) {
        int const status = inChild([&] {
            closeStandardStreams();
            body();
        });
        EXPECT_EQ(0, status);
    }
};

TEST_F(ClosedStandardStreams, AreNotReplacedByAFileOpenForReading) {
    putFile(at("f"), "content");
    inDaemon([this] {
        FileHandle* const handle = openedForReading(files, "f");
        expectNoStandardStreams();
        EXPECT_EQ("content", read(files, handle, 100));
        EXPECT_TRUE(files.close(handle));
        expectNoStandardStreams();
    });
}

TEST_F(ClosedStandardStreams, AreNotReplacedByAFileOpenForWriting) {
    inDaemon([this] {
        FileHandle* const handle = openedForWriting(files, "f");
        expectNoStandardStreams();
        EXPECT_TRUE(write(files, handle, someBytes(100'000)));
        expectNoStandardStreams();
        EXPECT_TRUE(files.close(handle));
        expectNoStandardStreams();
    });
    EXPECT_EQ(someBytes(100'000), fileBytes(at("f")));
}

TEST_F(ClosedStandardStreams, AreNotReplacedByAWatch) {
    inDaemon([this] {
        filesystem::FileWatch const watch({at("f")});
        EXPECT_TRUE(watch.isWatching());
        expectNoStandardStreams();
    });
}

TEST_F(ClosedStandardStreams, AreNotReplacedByALock) {
    inDaemon([this] {
        filesystem::DirectoryLock lock;
        EXPECT_EQ(filesystem::DirectoryLock::Outcome::taken,
                  lock.take(directory.string(), std::chrono::seconds(0)));
        expectNoStandardStreams();
    });
}

TEST_F(ClosedStandardStreams, LeaveNoLogOutputInASavedFile) {
    std::string const bytes = someBytes(100'000);
    inDaemon([&] {
        EXPECT_EQ(0, linesLoggedDuring([&] {
                      for (int save = 0; save < 300; ++save) {
                          EXPECT_TRUE(writeFile(files, "f", bytes));
                          EXPECT_EQ(bytes, readFile(files, "f"));
                      }
                  }));
    });
    EXPECT_EQ(bytes, fileBytes(at("f")));
}

TEST_F(ClosedStandardStreams, AreNotReplacedWhenThreadsOpenFilesAtOnce) {
    inDaemon([&] {
        auto const save = [&](std::string const& name) {
            RealFileSystem own(text(directory.string()));
            for (int i = 0; i < 2'000; ++i) {
                FileHandle* const handle = openedForWriting(own, name);
                EXPECT_FALSE(isStandardStream(at("." + name)));
                EXPECT_TRUE(own.close(handle));
            }
        };
        std::thread other([&] { save("g"); });
        save("f");
        other.join();
    });
}

TEST_F(ClosedStandardStreams, LeaveNoLogOutputInALoadedModule) {
    std::string const module = fileBytes(VELMORAND_TEST_MODULE_1);
    inDaemon([&] {
        RAMFileSystem memory;
        EXPECT_TRUE(writeFile(memory, "/module", module));
        EXPECT_EQ(0, linesLoggedDuring([&] {
                      for (int load = 0; load < 20; ++load)
                          EXPECT_TRUE(memory.unloadModule(memory.loadModule("/module")));
                  }));
    });
}

TEST_F(ClosedStandardStreams, DoNotPreventAForkedChildFromSaving) {
#ifdef UNDER_A_SANITIZER
    GTEST_SKIP() << "the sanitizer's allocator may be locked in a child forked while another thread runs";
#endif
    std::string const bytes = someBytes(1'000);
    inDaemon([&] {
        std::atomic<bool> ended = false;
        std::thread other([&] {
            RealFileSystem own(text(directory.string()));
            while (!ended)
                EXPECT_TRUE(writeFile(own, "g", bytes));
        });
        for (int i = 0; i < 500; ++i)
            EXPECT_EQ(0, inChild([&] { EXPECT_TRUE(writeFile(files, "f", bytes)); }, Leave::atOnce));
        ended = true;
        other.join();
    });
    EXPECT_EQ(bytes, fileBytes(at("f")));
}

} // namespace
