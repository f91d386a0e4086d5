// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <csignal>

#include <fcntl.h>
#include <sys/file.h>

#include "DiskSupport.h"
#include "support/FileSizeLimit.h"
#include "support/TemporaryName.h"

namespace {

using namespace support;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/** Kills the process. */
void killSelf() {
    static_cast<void>(::raise(SIGKILL));
}

using Replace = OnDisk;

TEST_F(Replace, ShowsTheOldContentUntilCloseHasReturnedTrue) {
    putFile(at("f"), "old");
    FileHandle* const handle = openedForWriting(files, "f");
    EXPECT_EQ("old", fileBytes(at("f")));
    ASSERT_TRUE(write(files, handle, someBytes(200'000)));
    EXPECT_EQ("old", fileBytes(at("f")));
    EXPECT_TRUE(files.close(handle));
    EXPECT_EQ(someBytes(200'000), fileBytes(at("f")));
}

TEST_F(Replace, ShowsNoNewFileUntilCloseHasReturnedTrue) {
    FileHandle* const handle = openedForWriting(files, "f");
    ASSERT_TRUE(write(files, handle, "new"));
    EXPECT_FALSE(files.exists(text("f")));
    EXPECT_TRUE(files.close(handle));
    EXPECT_EQ("new", fileBytes(at("f")));
}

TEST_F(Replace, LeavesNoOtherFile) {
    putFile(at("f"), "old");
    ASSERT_TRUE(writeFile(files, "f", "new"));
    EXPECT_THAT(listing(files, "/"), ElementsAre("f"));
}

TEST_F(Replace, WritesATemporaryFileNamedAfterTheFile) {
    FileHandle* const handle = openedForWriting(files, "settings.dat");
    ASSERT_NE(nullptr, handle);
    EXPECT_THAT(listing(files, "/"),
                ElementsAre(::testing::MatchesRegex("\\.settings\\.dat\\.velmorand-[0-9a-f]+-[0-9a-f]+")));
}

TEST_F(Replace, ShowsTheOldContentAfterAFlush) {
    putFile(at("f"), "old");
    FileHandle* const handle = openedForWriting(files, "f");
    ASSERT_TRUE(write(files, handle, "new"));
    EXPECT_TRUE(files.flush(handle));
    EXPECT_EQ("old", fileBytes(at("f")));
    EXPECT_TRUE(files.close(handle));
    EXPECT_EQ("new", fileBytes(at("f")));
}

TEST_F(Replace, ChangesNothingWhenTheHandleIsWrittenToAfterAFlush) {
    putFile(at("f"), "old");
    FileHandle* const handle = openedForWriting(files, "f");
    ASSERT_TRUE(write(files, handle, "new"));
    EXPECT_TRUE(files.flush(handle));
    EXPECT_FALSE(write(files, handle, "more"));
    EXPECT_FALSE(files.flush(handle));
    EXPECT_FALSE(files.close(handle));
    EXPECT_EQ(EBADF, errno);
    EXPECT_EQ("old", fileBytes(at("f")));
}

TEST_F(Replace, FlushesOnlyFilesOpenForWriting) {
    putFile(at("f"), "old");
    FileHandle* handle = nullptr;
    ASSERT_TRUE(files.open(text("f"), &handle, RealFileSystem::MODE_READ));
    EXPECT_FALSE(files.flush(handle));
    EXPECT_EQ(EBADF, errno);
    files.close(handle);
    EXPECT_FALSE(files.flush(handle));
    EXPECT_EQ(EBADF, errno);
}

TEST_F(Replace, ChangesNothingWhenTheHandleIsNeverClosed) {
    putFile(at("f"), "old");
    {
        RealFileSystem other(text(directory.string()));
        EXPECT_TRUE(write(other, openedForWriting(other, "f"), "new"));
        EXPECT_TRUE(write(other, openedForWriting(other, "g"), "new"));
        EXPECT_THAT(listing(files, "/"), SizeIs(3));
    }
    EXPECT_EQ("old", fileBytes(at("f")));
    EXPECT_THAT(listing(files, "/"), ElementsAre("f"));
}

TEST_F(Replace, KeepsTheContentOfTheHandleClosedLast) {
    FileHandle* const first = openedForWriting(files, "f");
    FileHandle* const second = openedForWriting(files, "f");
    ASSERT_TRUE(write(files, first, "first"));
    ASSERT_TRUE(write(files, second, "second"));
    EXPECT_TRUE(files.close(second));
    EXPECT_EQ("second", fileBytes(at("f")));
    EXPECT_TRUE(files.close(first));
    EXPECT_EQ("first", fileBytes(at("f")));
    EXPECT_THAT(listing(files, "/"), ElementsAre("f"));
}

using ReplaceFailing = OnDisk;

TEST_F(ReplaceFailing, ChangesNothingAfterAShortWrite) {
    putFile(at("f"), "old");
    ASSERT_EQ(0, inChild([this] {
                  FileSizeLimit const limit(100'000);
                  FileHandle* const handle = openedForWriting(files, "f");
                  EXPECT_FALSE(write(files, handle, someBytes(200'000)));
                  EXPECT_FALSE(files.close(handle));
                  EXPECT_THAT(listing(files, "/"), ElementsAre("f"));
              }));
    EXPECT_EQ("old", fileBytes(at("f")));
}

TEST_F(ReplaceFailing, ChangesNothingWhenTheLastBytesCannotBeWritten) {
    putFile(at("f"), "old");
    ASSERT_EQ(0, inChild([this] {
                  FileSizeLimit const limit(10);
                  FileHandle* const handle = openedForWriting(files, "f");
                  write(files, handle, someBytes(100));
                  EXPECT_FALSE(files.close(handle));
                  EXPECT_THAT(listing(files, "/"), ElementsAre("f"));
              }));
    EXPECT_EQ("old", fileBytes(at("f")));
}

TEST_F(ReplaceFailing, AtTheFileSizeLimitIsReportedWithoutASignal) {
    putFile(at("f"), "old");
    for (rlim_t const bytes : {rlim_t{0}, rlim_t{100'000}, rlim_t{199'999}})
        ASSERT_EQ(0, inChild([&] {
                      FileSizeLimit const limit(bytes);
                      FileHandle* const handle = openedForWriting(files, "f");
                      EXPECT_FALSE(write(files, handle, someBytes(200'000)));
                      EXPECT_FALSE(files.close(handle));
                      EXPECT_EQ(EFBIG, errno);
                  }))
            << bytes;
    EXPECT_EQ("old", fileBytes(at("f")));
}

TEST_F(ReplaceFailing, DoesNotHappenForAFileOfExactlyTheSizeLimit) {
    ASSERT_EQ(0, inChild([&] {
                  FileSizeLimit const limit(200'000);
                  EXPECT_TRUE(writeFile(files, "f", someBytes(200'000)));
              }));
    EXPECT_EQ(someBytes(200'000), fileBytes(at("f")));
}

TEST_F(ReplaceFailing, PersistsAfterALaterWrite) {
    putFile(at("f"), "old");
    ASSERT_EQ(0, inChild([this] {
                  FileSizeLimit const limit(100'000);
                  FileHandle* const handle = openedForWriting(files, "f");
                  EXPECT_FALSE(write(files, handle, someBytes(200'000)));
                  EXPECT_TRUE(files.seek(handle, 0, FileSystem::ORIGIN_BEGIN));
                  EXPECT_FALSE(write(files, handle, "x"));
                  EXPECT_FALSE(files.close(handle));
              }));
    EXPECT_EQ("old", fileBytes(at("f")));
}

TEST_F(ReplaceFailing, KeepsADirectoryCreatedAtThePath) {
    FileHandle* const handle = openedForWriting(files, "f");
    ASSERT_TRUE(write(files, handle, "new"));
    ASSERT_TRUE(files.mkdir(text("f")));
    EXPECT_FALSE(files.close(handle));
    EXPECT_TRUE(files.isDirectory(text("f")));
    EXPECT_THAT(listing(files, "/"), ElementsAre("f"));
}

TEST_F(ReplaceFailing, ReportsARemovedDirectory) {
    ASSERT_TRUE(files.mkdir(text("a")));
    FileHandle* const handle = openedForWriting(files, "a/f");
    ASSERT_TRUE(write(files, handle, "new"));
    ASSERT_TRUE(files.remove(text("a")));
    EXPECT_FALSE(files.close(handle));
    EXPECT_THAT(listing(files, "/"), IsEmpty());
}

TEST_F(ReplaceFailing, OpensNothingInADirectoryThatMayNotBeChanged) {
    ASSERT_EQ(0, asOrdinaryUser(directory, [this] {
                  EXPECT_TRUE(files.mkdir(text("locked")));
                  EXPECT_TRUE(writeFile(files, "locked/f", "old"));
                  EXPECT_EQ(0, ::chmod(at("locked").c_str(), 0500));
                  EXPECT_EQ(nullptr, openedForWriting(files, "locked/f"));
                  EXPECT_EQ(nullptr, openedForWriting(files, "locked/g"));
                  EXPECT_EQ("old", readFile(files, "locked/f"));
              }));
}

using ReplaceInUnreadableDirectory = OnDisk;

TEST_F(ReplaceInUnreadableDirectory, CreatesAndReplacesFiles) {
    ASSERT_EQ(0, asOrdinaryUser(directory, [this] {
                  EXPECT_TRUE(files.mkdir(text("d")));
                  EXPECT_EQ(0, ::chmod(at("d").c_str(), 0300));
                  EXPECT_TRUE(writeFile(files, "d/f", "old"));
                  EXPECT_TRUE(writeFile(files, "d/f", "new"));
                  EXPECT_EQ("new", readFile(files, "d/f"));
                  EXPECT_EQ(0, ::chmod(at("d").c_str(), 0700));
                  EXPECT_THAT(listing(files, "d"), ElementsAre("f"));
              }));
}

TEST_F(ReplaceInUnreadableDirectory, FollowsALinkThroughIt) {
    ASSERT_EQ(0, asOrdinaryUser(directory, [this] {
                  EXPECT_TRUE(files.mkdir(text("d")));
                  std::filesystem::create_symlink("../f", at("d/link"));
                  EXPECT_EQ(0, ::chmod(at("d").c_str(), 0100));
                  EXPECT_TRUE(writeFile(files, "d/link", "new"));
                  EXPECT_EQ("new", readFile(files, "f"));
              }));
}

using ReplacePermissions = OnDisk;

TEST_F(ReplacePermissions, OfANewFileAreLeftToTheMask) {
    ASSERT_EQ(0, inChild([this] {
                  ::umask(027);
                  EXPECT_TRUE(writeFile(files, "f", "x"));
              }));
    EXPECT_EQ(0640U, permissions(at("f")));
}

TEST_F(ReplacePermissions, OfAReplacedFileAreKept) {
    for (unsigned const mode : {0600U, 0644U, 0666U, 0755U, 06755U, 0200U}) {
        putFile(at("f"), "old");
        ASSERT_EQ(0, ::chmod(at("f").c_str(), mode));
        ASSERT_TRUE(writeFile(files, "f", "new"));
        EXPECT_EQ(mode, permissions(at("f")));
        ASSERT_TRUE(files.remove(text("f")));
    }
}

TEST_F(ReplacePermissions, HideTheNewContentFromTheStart) {
    putFile(at("f"), "old");
    ASSERT_EQ(0, ::chmod(at("f").c_str(), 0600));
    ASSERT_TRUE(write(files, openedForWriting(files, "f"), "secret"));
    for (std::string const& name : listing(files, "/"))
        EXPECT_EQ(0600U, permissions(at(name))) << name;
}

TEST_F(ReplacePermissions, ProtectAReadOnlyFile) {
    ASSERT_EQ(0, asOrdinaryUser(directory, [this] {
                  putFile(at("f"), "old");
                  EXPECT_EQ(0, ::chmod(at("f").c_str(), 0444));
                  EXPECT_EQ(nullptr, openedForWriting(files, "f"));
                  EXPECT_EQ("old", fileBytes(at("f")));
                  EXPECT_THAT(listing(files, "/"), ElementsAre("f"));
              }));
}

TEST_F(ReplacePermissions, KeepTheOwner) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can change the owner of a file";
    putFile(at("f"), "old");
    ASSERT_EQ(0, ::chown(at("f").c_str(), 4321, 1234));
    ASSERT_EQ(0, ::chmod(at("f").c_str(), 06755));
    ASSERT_TRUE(writeFile(files, "f", "new"));
    struct stat status = {};
    ASSERT_EQ(0, ::stat(at("f").c_str(), &status));
    EXPECT_EQ(4321U, status.st_uid);
    EXPECT_EQ(1234U, status.st_gid);
    EXPECT_EQ(06755U, permissions(at("f")));
}

TEST_F(ReplacePermissions, LetAnotherOwnersFileBeReplaced) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a file to another owner";
    putFile(at("f"), "old");
    ASSERT_EQ(0, ::chmod(at("f").c_str(), 0666));
    ASSERT_EQ(0, asOrdinaryUser(directory, [this] { EXPECT_TRUE(writeFile(files, "f", "new")); }));
    EXPECT_EQ("new", fileBytes(at("f")));
}

TEST_F(ReplacePermissions, OfTheOldGroupAreNotGivenToTheNewOne) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a file to another group";
    for (auto const& [before, after] :
         std::map<unsigned, unsigned>{{0666U, 0606U}, {0676U, 0606U}, {02664U, 0604U}, {06777U, 04707U}}) {
        putFile(at("f"), "old");
        ASSERT_EQ(0, ::chown(at("f").c_str(), 65534, 1234)); // owned by the user, in another group
        ASSERT_EQ(0, ::chmod(at("f").c_str(), before));
        ASSERT_EQ(0, asOrdinaryUser(directory, [this] { EXPECT_TRUE(writeFile(files, "f", "new")); }));
        EXPECT_EQ("new", fileBytes(at("f")));
        EXPECT_EQ(after, permissions(at("f")));
    }
}

TEST_F(ReplacePermissions, OfOthersAreLimitedToThoseOfTheOldGroup) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a file to another group";
    for (auto const& [before, after] :
         std::map<unsigned, unsigned>{{0606U, 0600U}, {0604U, 0600U}, {02646U, 0604U}, {0657U, 0605U}}) {
        putFile(at("f"), "old");
        ASSERT_EQ(0, ::chown(at("f").c_str(), 65534, 1234)); // owned by the user, in another group
        ASSERT_EQ(0, ::chmod(at("f").c_str(), before));
        ASSERT_EQ(0, asOrdinaryUser(directory, [this] { EXPECT_TRUE(writeFile(files, "f", "new")); }));
        EXPECT_EQ("new", fileBytes(at("f")));
        EXPECT_EQ(after, permissions(at("f")));
    }
}

TEST_F(ReplacePermissions, RevokedWhileTheFileIsWrittenAreNotRestored) {
    putFile(at("f"), "old");
    ASSERT_EQ(0, ::chmod(at("f").c_str(), 0666));
    FileHandle* const handle = openedForWriting(files, "f");
    ASSERT_TRUE(write(files, handle, "new"));
    ASSERT_EQ(0, ::chmod(at("f").c_str(), 0600));
    EXPECT_TRUE(files.close(handle));
    EXPECT_EQ("new", fileBytes(at("f")));
    EXPECT_EQ(0600U, permissions(at("f")));
}

TEST_F(ReplacePermissions, DropSetUserIdIfTheOwnerChanges) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a file to another owner";
    putFile(at("f"), "old");
    ASSERT_EQ(0, ::chown(at("f").c_str(), 4321, 65534)); // owned by another user, in the user's group
    ASSERT_EQ(0, ::chmod(at("f").c_str(), 06777));
    ASSERT_EQ(0, asOrdinaryUser(directory, [this] { EXPECT_TRUE(writeFile(files, "f", "new")); }));
    EXPECT_EQ("new", fileBytes(at("f")));
    EXPECT_EQ(02777U, permissions(at("f")));
}

using ReplaceThroughLink = OnDisk;

TEST_F(ReplaceThroughLink, ReplacesTheTargetAndKeepsTheLink) {
    ASSERT_TRUE(files.mkdir(text("a")));
    ASSERT_TRUE(files.mkdir(text("b")));
    putFile(at("b/target"), "old");
    std::filesystem::create_symlink("../b/target", at("a/relative"));
    std::filesystem::create_symlink(at("b/target"), at("a/absolute"));
    for (char const* const link : {"a/relative", "a/absolute"}) {
        ASSERT_TRUE(writeFile(files, link, link));
        EXPECT_TRUE(std::filesystem::is_symlink(at(link)));
        EXPECT_EQ(link, fileBytes(at("b/target")));
    }
    EXPECT_THAT(listing(files, "a"), ElementsAre("absolute", "relative"));
    EXPECT_THAT(listing(files, "b"), ElementsAre("target"));
}

TEST_F(ReplaceThroughLink, WritesTheTemporaryFileNextToTheTarget) {
    ASSERT_TRUE(files.mkdir(text("a")));
    std::filesystem::create_symlink("a/target", at("link"));
    ASSERT_NE(nullptr, openedForWriting(files, "link"));
    EXPECT_THAT(listing(files, "/"), ElementsAre("a", "link"));
    EXPECT_THAT(listing(files, "a"), SizeIs(1));
}

TEST_F(ReplaceThroughLink, FollowsAChain) {
    putFile(at("0"), "old");
    for (int i = 1; i <= 40; ++i)
        std::filesystem::create_symlink(std::to_string(i - 1), at(std::to_string(i)));
    EXPECT_TRUE(writeFile(files, "40", "new"));
    EXPECT_EQ("new", fileBytes(at("0")));
    EXPECT_TRUE(std::filesystem::is_symlink(at("1")));
    std::filesystem::create_symlink("40", at("41"));
    EXPECT_EQ(nullptr, openedForWriting(files, "41"));
}

TEST_F(ReplaceThroughLink, CreatesTheTargetOfADanglingLink) {
    std::filesystem::create_symlink("target", at("link"));
    EXPECT_TRUE(writeFile(files, "link", "new"));
    EXPECT_TRUE(std::filesystem::is_symlink(at("link")));
    EXPECT_EQ("new", fileBytes(at("target")));
}

TEST_F(ReplaceThroughLink, NeedsTheTargetsDirectory) {
    std::filesystem::create_symlink("missing/target", at("link"));
    EXPECT_EQ(nullptr, openedForWriting(files, "link"));
    EXPECT_THAT(listing(files, "/"), ElementsAre("link"));
}

TEST_F(ReplaceThroughLink, RefusesADirectory) {
    ASSERT_TRUE(files.mkdir(text("a")));
    for (char const* const target : {"a", "a/", "a/.", "..", "."}) {
        std::filesystem::create_symlink(target, at("link"));
        EXPECT_EQ(nullptr, openedForWriting(files, "link")) << target;
        ASSERT_TRUE(files.remove(text("link")));
    }
    EXPECT_THAT(listing(files, "a"), IsEmpty());
}

using StaleTemporary = OnDisk;

TEST_F(StaleTemporary, IsRemovedWhenItsFileIsOpenedForWriting) {
    putFile(at(temporaryName("f")), "left");
    putFile(at(temporaryName("f", "00000000")), "left");
    FileHandle* const handle = openedForWriting(files, "f");
    EXPECT_FALSE(files.exists(text(temporaryName("f"))));
    EXPECT_FALSE(files.exists(text(temporaryName("f", "00000000"))));
    EXPECT_TRUE(files.close(handle));
    EXPECT_THAT(listing(files, "/"), ElementsAre("f"));
}

TEST_F(StaleTemporary, OfAKilledProcessIsRemoved) {
    putFile(at("f"), "old");
    ASSERT_EQ(crashed, inChild([this] {
                  write(files, openedForWriting(files, "f"), someBytes(100'000));
                  killSelf();
              }));
    EXPECT_THAT(listing(files, "/"), SizeIs(2));
    EXPECT_EQ("old", fileBytes(at("f")));
    EXPECT_TRUE(writeFile(files, "f", "new"));
    EXPECT_THAT(listing(files, "/"), ElementsAre("f"));
}

TEST_F(StaleTemporary, IsNotAFileOpenForWriting) {
    FileHandle* const first = openedForWriting(files, "f");
    auto const before = listing(files, "/");
    ASSERT_THAT(before, SizeIs(1));
    FileHandle* const second = openedForWriting(files, "f");
    EXPECT_TRUE(files.exists(text(before.front())));
    EXPECT_THAT(listing(files, "/"), SizeIs(2));
    EXPECT_TRUE(files.close(first));
    EXPECT_TRUE(files.close(second));
}

TEST_F(StaleTemporary, IsNotAFileThatAnotherProcessHasLocked) {
    std::string const locked = at(temporaryName("f"));
    putFile(locked, "live");
    int const file = ::open(locked.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(0, ::flock(file, LOCK_EX));
    EXPECT_TRUE(writeFile(files, "f", "new"));
    EXPECT_EQ("live", fileBytes(locked));
    ::close(file);
    EXPECT_TRUE(writeFile(files, "f", "new"));
    EXPECT_THAT(listing(files, "/"), ElementsAre("f"));
}

TEST_F(StaleTemporary, IsNotAFileWithASimilarName) {
    std::string const real = temporaryName("f");
    std::string wrongCheck = real;
    wrongCheck.back() = wrongCheck.back() == '0' ? '1' : '0';
    std::string upperCase = real;
    upperCase.replace(upperCase.find("0123abcd"), 8, "0123ABCD");
    std::vector<std::string> const names = {
        ".f.backup",     ".f.202401", ".f.abc123", ".f.velmorand-0123abcd-00000000", temporaryName("g"),
        wrongCheck,      upperCase,   real + "0",  real.substr(0, real.size() - 1),  real.substr(1),
        real + ".backup"};
    for (std::string const& name : names)
        putFile(at(name), "kept");
    EXPECT_TRUE(writeFile(files, "f", "new"));
    for (std::string const& name : names)
        EXPECT_EQ("kept", fileBytes(at(name))) << name;
}

TEST_F(StaleTemporary, IsNotADirectoryLinkOrPipe) {
    std::string const directoryName = temporaryName("f", "00000001");
    std::string const link = temporaryName("f", "00000002");
    std::string const pipe = temporaryName("f", "00000003");
    ASSERT_TRUE(files.mkdir(text(directoryName)));
    putFile(at("target"), "kept");
    std::filesystem::create_symlink("target", at(link));
    ASSERT_EQ(0, ::mkfifo(at(pipe).c_str(), 0666));
    EXPECT_TRUE(writeFile(files, "f", "new"));
    EXPECT_TRUE(files.isDirectory(text(directoryName)));
    EXPECT_TRUE(std::filesystem::is_symlink(at(link)));
    EXPECT_TRUE(files.exists(text(pipe)));
}

using LongName = OnDisk;

TEST_F(LongName, OfTheMaximumLengthIsReplaced) {
    std::string const name(NAME_MAX, 'n');
    ASSERT_TRUE(writeFile(files, name, "old"));
    ASSERT_TRUE(writeFile(files, name, "new"));
    EXPECT_EQ("new", fileBytes(at(name)));
    EXPECT_THAT(listing(files, "/"), ElementsAre(name));
}

TEST_F(LongName, DoesNotShareTemporaryFilesWithANameOfTheSamePrefix) {
    std::string const one(NAME_MAX, 'n');
    std::string const other = std::string(NAME_MAX - 1, 'n') + 'm';
    ASSERT_EQ(crashed, inChild([&] {
                  openedForWriting(files, one);
                  killSelf();
              }));
    EXPECT_TRUE(writeFile(files, other, "other"));
    EXPECT_THAT(listing(files, "/"), SizeIs(2));
    EXPECT_TRUE(writeFile(files, one, "one"));
    EXPECT_THAT(listing(files, "/"), ElementsAre(other, one));
}

TEST_F(LongName, IsTruncatedBetweenCharacters) {
    for (std::size_t const lead : {0U, 1U, 2U, 3U}) {
        std::string name(lead, 'n');
        while (name.size() + 4 <= NAME_MAX)
            name += "😀";
        FileHandle* const handle = openedForWriting(files, name);
        ASSERT_NE(nullptr, handle);
        // A name that is not UTF-8 would not be listed.
        EXPECT_THAT(listing(files, "/"), SizeIs(1)) << lead;
        EXPECT_TRUE(files.close(handle));
        EXPECT_TRUE(files.remove(text(name)));
    }
}

} // namespace
