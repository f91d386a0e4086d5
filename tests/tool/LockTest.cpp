// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Tool.h"

using namespace tool;

namespace {

/** The tool while the user directory is locked, as by another process. */
class Lock : public Tool {
protected:
    Lock() {
        answer({"set", "integer", "x", "0"});
        answer({"set", "integer", "x", "1"});
        EXPECT_EQ(0, ::flock(_directory, LOCK_EX));
    }
    ~Lock() override { ::close(_directory); }

    void unlock() const { EXPECT_EQ(0, ::flock(_directory, LOCK_UN)); }

private:
    int _directory = ::open(user.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
};

} // namespace

TEST_F(Lock, IsWaitedForUpToTheTimeLimit) {
    std::string const before = bytesOf(userFile);
    std::string const complaint = "velmorand-register: " + user +
                                  ": another process has held the lock for more than 0 s (end that process, "
                                  "or wait longer with --wait SECONDS)\n";
    EXPECT_THAT(run({"--wait", "0", "set", "integer", "x", "2"}), Complains(3, complaint));
    EXPECT_THAT(run({"--wait", "0", "delete", "x"}), Complains(3, complaint));
    EXPECT_THAT(run({"--wait", "0", "import", "-"}, "{}"), Complains(3, complaint));
    EXPECT_THAT(run({"--wait", "0", "restore", "previous"}), Complains(3, complaint));
    EXPECT_EQ(before, bytesOf(userFile));
}

TEST_F(Lock, DoesNotBlockReaders) {
    EXPECT_EQ("1\n", answer({"--wait", "0", "get", "x"}));
    EXPECT_EQ("integer   user   x\n", answer({"--wait", "0", "list"}));
    EXPECT_NE("", answer({"--wait", "0", "restore"}));
}

TEST_F(Lock, IsTakenOnceItIsReleased) {
    ::pid_t const child = start({"--user", user, "--wait", "100", "set", "integer", "x", "2"});
    unlock();
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    EXPECT_EQ("2\n", answer({"get", "x"}));
}
