// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <filesystem>
#include <ostream>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "register/RegisterFile.h"
#include "register/Scopes.h"
#include "support/ChildProcess.h"
#include "support/Failure.h"
#include "support/RegisterProbe.h"
#include "support/TemporaryDirectory.h"

using support::failure;
using support::lockIsFree;
using support::RegisterProbe;
using support::TemporaryDirectory;
using utils::properties::_Register;

namespace {

/** Something in place of a register file that cannot be opened, not even by root. */
struct Obstacle {
    char const* name;
    std::filesystem::file_type type;
    void (*make)(std::string const& path);
};

std::ostream& operator<<(std::ostream& stream, Obstacle const& obstacle) {
    return stream << obstacle.name;
}

Obstacle const obstacles[] = {
    {"Directory", std::filesystem::file_type::directory,
     [](std::string const& path) { ::mkdir(path.c_str(), 0700); }},
    {"Fifo", std::filesystem::file_type::fifo, [](std::string const& path) { ::mkfifo(path.c_str(), 0600); }},
    {"Socket", std::filesystem::file_type::socket,
     [](std::string const& path) { ::mknod(path.c_str(), S_IFSOCK | 0600U, 0); }},
    {"LinkLoop", std::filesystem::file_type::symlink,
     [](std::string const& path) { EXPECT_EQ(0, ::symlink(registerFileName, path.c_str())); }},
};

class UnreadableFile : public ::testing::TestWithParam<Obstacle> {
protected:
    static void block(TemporaryDirectory const& directory) {
        GetParam().make((directory / registerFileName).string());
        ASSERT_TRUE(stillBlocked(directory));
    }

    static bool stillBlocked(TemporaryDirectory const& directory) {
        return std::filesystem::symlink_status(directory / registerFileName).type() == GetParam().type;
    }
};

std::string cannotOpen(std::string const& directory) {
    return "Can't open " + directory + "/Velmorand.dat";
}

std::string failureOfConstruction() {
    return failure([] { RegisterProbe const settings; });
}

} // namespace

TEST_P(UnreadableFile, InTheUserDirectoryIsReported) {
    TemporaryDirectory const user;
    block(user);
    RegisterProbe::_UserRegisterPath = user.string();
    EXPECT_EQ(cannotOpen(user.string()), failureOfConstruction());
    EXPECT_TRUE(stillBlocked(user));
}

TEST_P(UnreadableFile, InTheGlobalDirectoryIsReported) {
    TemporaryDirectory const global;
    block(global);
    RegisterProbe::_GlobalRegisterPath = global.string();
    RegisterProbe::_haveGlobalRegister = true;
    EXPECT_EQ(cannotOpen(global.string()), failureOfConstruction());
    EXPECT_TRUE(stillBlocked(global));
}

TEST_P(UnreadableFile, InTheGlobalDirectoryIsIgnoredWithoutAGlobalRegister) {
    TemporaryDirectory const global;
    block(global);
    RegisterProbe::_GlobalRegisterPath = global.string();
    EXPECT_EQ("nothing", failureOfConstruction());
}

TEST_P(UnreadableFile, IsReportedWithADoubledSlashIfTheDirectoryEndsInOne) {
    TemporaryDirectory const user;
    block(user);
    RegisterProbe::_UserRegisterPath = user.string() + "/";
    EXPECT_EQ("Can't open " + user.string() + "//Velmorand.dat", failureOfConstruction());
}

TEST_P(UnreadableFile, InTheGlobalDirectoryIsReportedFirst) {
    TemporaryDirectory const global;
    TemporaryDirectory const user;
    block(global);
    block(user);
    RegisterProbe::_GlobalRegisterPath = global.string();
    RegisterProbe::_UserRegisterPath = user.string();
    RegisterProbe::_haveGlobalRegister = true;
    EXPECT_EQ(cannotOpen(global.string()), failureOfConstruction());
}

TEST_P(UnreadableFile, LeavesInitializeWithThePathsSet) {
    TemporaryDirectory const global;
    TemporaryDirectory const user;
    block(user);
    EXPECT_EQ(0, support::inChild([&] {
                  EXPECT_EQ(cannotOpen(user.string()),
                            failure([&] { _Register::initialize(global.string(), user.string()); }));
                  EXPECT_EQ(global.string(), RegisterProbe::_GlobalRegisterPath);
                  EXPECT_EQ(user.string(), RegisterProbe::_UserRegisterPath);
                  EXPECT_TRUE(RegisterProbe::_haveGlobalRegister);
                  EXPECT_TRUE(lockIsFree());
              }));
    EXPECT_TRUE(stillBlocked(user));
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(user.path()), {}));
}

INSTANTIATE_TEST_SUITE_P(Every, UnreadableFile, ::testing::ValuesIn(obstacles),
                         [](auto const& test) { return std::string(test.param.name); });

TEST(UnreadableRegisterFile, WithoutPermissionIsReported) {
    if (::geteuid() == 0)
        GTEST_SKIP() << "root may read every file";
    TemporaryDirectory const user;
    saveInteger(user.string(), "x", 1);
    ASSERT_EQ(0, ::chmod((user / registerFileName).c_str(), 0));
    RegisterProbe::_UserRegisterPath = user.string();
    EXPECT_EQ(cannotOpen(user.string()), failureOfConstruction());
}

namespace {

/** A register file with a group, a string and an integer. */
std::string soundFile() {
    TemporaryDirectory const directory;
    saveRegisterFile(directory.string(), [](RegisterProbe& settings) {
        settings._writeString(nullptr, "g/s", "text", SCOPE_USER);
        settings._writeInteger(nullptr, "x", 42, SCOPE_USER);
    });
    return fileBytes(directory / registerFileName);
}

/** A user directory whose register file holds `bytes`. */
class DamagedFile {
public:
    explicit DamagedFile(std::string bytes) : _bytes(std::move(bytes)) {
        writeFile(_directory / registerFileName, _bytes);
        RegisterProbe::_UserRegisterPath = _directory.string();
    }

    [[nodiscard]] std::string directory() const { return _directory.string(); }

    /** Whether loading throws a `utils::Exception` with a message and does not change the file. */
    [[nodiscard]] bool isRefusedAndKept() const {
        std::string const message = failureOfConstruction();
        return message != "nothing" && !message.empty() && message.rfind("std: ", 0) != 0 && isKept();
    }

    [[nodiscard]] bool isKept() const { return fileBytes(_directory / registerFileName) == _bytes; }

private:
    TemporaryDirectory _directory;
    std::string _bytes;
};

} // namespace

TEST(DamagedFile, WithoutDamageIsLoaded) {
    DamagedFile const file(soundFile());
    EXPECT_EQ("nothing", failureOfConstruction());
}

TEST(DamagedFile, EveryFlippedBitIsRefused) {
    std::string const sound = soundFile();
    for (std::size_t bit = 0; bit < sound.size() * 8; ++bit) {
        std::string bytes = sound;
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << (bit % 8)));
        EXPECT_TRUE(DamagedFile(bytes).isRefusedAndKept()) << "bit " << bit;
    }
}

TEST(DamagedFile, EveryTruncationIsRefused) {
    std::string const sound = soundFile();
    for (std::size_t size = 0; size < sound.size(); ++size)
        EXPECT_TRUE(DamagedFile(sound.substr(0, size)).isRefusedAndKept()) << "size " << size;
}

TEST(DamagedFile, OfAnotherKindIsRefused) {
    EXPECT_TRUE(DamagedFile("[settings]\nx=42\n").isRefusedAndKept());
    EXPECT_TRUE(DamagedFile(std::string(4096, '\0')).isRefusedAndKept());
    EXPECT_TRUE(DamagedFile(std::string(4096, '\xff')).isRefusedAndKept());
}

TEST(DamagedFile, IsKeptWhenTheProcessExits) {
    std::string bytes = soundFile();
    bytes.back() = static_cast<char>(bytes.back() ^ 1);
    DamagedFile const file(bytes);
    TemporaryDirectory const global;
    EXPECT_EQ(0, support::inChild([&] {
                  EXPECT_NE("nothing",
                            failure([&] { _Register::initialize(global.string(), file.directory()); }));
                  EXPECT_NE("nothing", failure([] { _Register::getInstance(); }));
              }));
    EXPECT_TRUE(file.isKept());
}

TEST(DamagedFile, InTheGlobalDirectoryIsRefusedAndTheUserFileKept) {
    TemporaryDirectory const user;
    saveInteger(user.string(), "x", 1);
    DamagedFile const global(soundFile().substr(1));
    std::string const before = fileBytes(user / registerFileName);
    EXPECT_EQ(0, support::inChild([&] {
                  EXPECT_NE("nothing",
                            failure([&] { _Register::initialize(global.directory(), user.string()); }));
              }));
    EXPECT_TRUE(global.isKept());
    EXPECT_EQ(before, fileBytes(user / registerFileName));
}
