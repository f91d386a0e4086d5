// SPDX-License-Identifier: Apache-2.0
#include <clocale>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "DiskSupport.h"
#include "support/LateDate.h"

namespace {

using namespace support;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using RealRoot = OnDisk;

TEST(RealRootless, IsEmptyAndAcceptsNothing) {
    RealFileSystem files{QString()};
    for (char const* const path : {"", "/", "tmp", "/tmp", "proc/self/stat"}) {
        EXPECT_FALSE(files.exists(text(path))) << path;
        EXPECT_FALSE(files.isDirectory(text(path))) << path;
        EXPECT_FALSE(files.isFile(text(path))) << path;
        EXPECT_FALSE(files.mkdir(text(path))) << path;
        EXPECT_FALSE(files.remove(text(path))) << path;
        EXPECT_THAT(listing(files, path), IsEmpty()) << path;
        EXPECT_EQ(nullptr, openedForReading(files, path)) << path;
        EXPECT_EQ(nullptr, openedForWriting(files, path + std::string("/velmorand-test"))) << path;
        EXPECT_EQ(nullptr, files.loadModule(text(path))) << path;
    }
}

TEST_F(RealRoot, NeedNotExistYet) {
    RealFileSystem later(text(at("later")));
    EXPECT_FALSE(later.exists(text("/")));
    EXPECT_FALSE(later.mkdir(text("/")));
    EXPECT_EQ(nullptr, openedForWriting(later, "f"));
    ASSERT_TRUE(files.mkdir(text("later")));
    EXPECT_TRUE(later.isDirectory(text("/")));
    EXPECT_TRUE(writeFile(later, "f", "x"));
    EXPECT_EQ("x", readFile(files, "later/f"));
}

TEST_F(RealRoot, CannotBeEscapedWithDotDot) {
    putFile(at("outside"), "untouched");
    ASSERT_TRUE(files.mkdir(text("root")));
    ASSERT_TRUE(files.mkdir(text("root/a")));
    RealFileSystem inner(text(at("root")));
    for (char const* const path : {"../outside", "/../outside", "a/../../outside", "..//outside"}) {
        EXPECT_FALSE(inner.exists(text(path))) << path;
        EXPECT_FALSE(inner.remove(text(path))) << path;
        EXPECT_EQ(nullptr, openedForReading(inner, path)) << path;
        EXPECT_EQ(nullptr, openedForWriting(inner, path)) << path;
    }
    EXPECT_FALSE(inner.mkdir(text("../made")));
    EXPECT_THAT(listing(inner, ".."), IsEmpty());
    EXPECT_EQ("untouched", fileBytes(at("outside")));
    EXPECT_THAT(listing(files, "/"), ElementsAre("outside", "root"));
}

TEST_F(RealRoot, MayEndWithASlash) {
    RealFileSystem same(text(directory.string() + "/"));
    EXPECT_TRUE(writeFile(same, "f", "x"));
    EXPECT_THAT(listing(same, "/"), ElementsAre("f"));
    EXPECT_EQ("x", readFile(files, "f"));
}

TEST_F(RealRoot, ThatIsAFileIsEmpty) {
    putFile(at("f"), "x");
    RealFileSystem onFile(text(at("f")));
    EXPECT_FALSE(onFile.exists(text("/")));
    EXPECT_EQ(nullptr, openedForReading(onFile, "/"));
    EXPECT_EQ(nullptr, openedForWriting(onFile, "/"));
    EXPECT_FALSE(onFile.remove(text("/")));
    EXPECT_EQ("x", fileBytes(at("f")));
}

using RealNames = OnDisk;

TEST_F(RealNames, WithANulByteDoNotExist) {
    putFile(at("f"), "x");
    QString const path = QStringLiteral("f") + QChar(QChar::Null) + QStringLiteral("g");
    FileHandle* handle = nullptr;
    EXPECT_FALSE(files.exists(path));
    EXPECT_FALSE(files.mkdir(path));
    EXPECT_FALSE(files.remove(path));
    EXPECT_FALSE(files.open(path, &handle, FileSystem::MODE_READ));
    EXPECT_FALSE(files.open(path, &handle, FileSystem::MODE_WRITE));
    EXPECT_THAT(listing(files, "/"), ElementsAre("f"));
}

TEST_F(RealNames, TooLongForTheSystemDoNotExistAndCannotBeCreated) {
    for (std::string const& path : {std::string(256, 'x'), "a/" + std::string(5000, 'x'),
                                    std::string(5000, '/') + std::string(300, 'x')}) {
        EXPECT_FALSE(files.exists(text(path)));
        EXPECT_FALSE(files.mkdir(text(path)));
        EXPECT_EQ(nullptr, openedForReading(files, path));
        EXPECT_EQ(nullptr, openedForWriting(files, path));
    }
    EXPECT_THAT(listing(files, "/"), IsEmpty());
}

TEST_F(RealNames, AreUtf8InTheLocaleC) {
    ASSERT_EQ(0, inChild([this] {
                  ::setenv("LC_ALL", "C", 1);
                  EXPECT_NE(nullptr, std::setlocale(LC_ALL, "C"));
                  EXPECT_TRUE(files.mkdir(text("Größe")));
                  EXPECT_TRUE(writeFile(files, "Größe/設定", "x"));
                  EXPECT_THAT(listing(files, "Größe"), ElementsAre("設定"));
              }));
    EXPECT_EQ("x", fileBytes(at("Gr\xC3\xB6\xC3\x9F"
                                "e/\xE8\xA8\xAD\xE5\xAE\x9A")));
}

/** Writes a file at the end of the process, after the destruction of every static object that was created later. */
struct WriterAtExit {
    std::string root;
    ~WriterAtExit() {
        if (root.empty())
            return;
        RealFileSystem files{QString::fromUtf8(root.c_str())};
        FileHandle* handle = nullptr;
        if (files.open(QString::fromUtf8("Größe/設定"), &handle, FileSystem::MODE_WRITE)) {
            files.write(handle, "late", 4);
            files.close(handle);
        }
    }
} writerAtExit; // NOLINT(cert-err58-cpp)

TEST_F(RealNames, AreUtf8AtTheExitOfTheProcess) {
    ASSERT_TRUE(files.mkdir(text("Größe")));
    ASSERT_EQ(0, inChild([this] {
                  // Creates the locale's converter, which is destroyed before `writerAtExit`.
                  EXPECT_FALSE(QString::fromLocal8Bit("x").toLocal8Bit().isEmpty());
                  writerAtExit.root = directory.string();
              }));
    EXPECT_EQ("late", readFile(files, "Größe/設定"));
}

TEST_F(RealNames, OnDiskThatAreNotUtf8AreNotListed) {
    putFile(at("\xFF\xFE"), "x");
    putFile(at("a\xC3"), "x");
    putFile(at("\xED\xA0\x80"), "x");
    putFile(at("\xC0\xAF"), "x");
    putFile(at("plain"), "x");
    putFile(at("\xEF\xBF\xBD"), "x");
    EXPECT_THAT(listing(files, "/"), ElementsAre("plain", "\xEF\xBF\xBD"));
}

using RealExists = OnDisk;

TEST_F(RealExists, IsFalseForADanglingLink) {
    std::filesystem::create_symlink("nowhere", at("link"));
    EXPECT_FALSE(files.exists(text("link")));
    EXPECT_FALSE(files.isFile(text("link")));
    EXPECT_THAT(listing(files, "/"), ElementsAre("link"));
}

TEST_F(RealExists, IsTrueForALinkToItself) {
    std::filesystem::create_symlink("loop", at("loop"));
    EXPECT_TRUE(files.exists(text("loop")));
    EXPECT_TRUE(files.exists(text("loop/f")));
    EXPECT_FALSE(files.isFile(text("loop")));
    EXPECT_FALSE(files.isDirectory(text("loop")));
    EXPECT_EQ(nullptr, openedForReading(files, "loop"));
    EXPECT_EQ(nullptr, openedForWriting(files, "loop"));
}

TEST_F(RealExists, IsTrueForPathsThatCannotBeExamined) {
    ASSERT_EQ(0, asOrdinaryUser(directory, [this] {
                  EXPECT_TRUE(files.mkdir(text("locked")));
                  EXPECT_EQ(0, ::chmod(at("locked").c_str(), 0));
                  EXPECT_TRUE(files.exists(text("locked/f")));
                  EXPECT_FALSE(files.isFile(text("locked/f")));
                  EXPECT_FALSE(files.isDirectory(text("locked/f")));
                  EXPECT_EQ(nullptr, openedForReading(files, "locked/f"));
                  EXPECT_EQ(nullptr, openedForWriting(files, "locked/f"));
                  EXPECT_THAT(listing(files, "locked"), IsEmpty());
              }));
}

TEST_F(RealExists, FollowsLinks) {
    putFile(at("f"), "x");
    ASSERT_TRUE(files.mkdir(text("a")));
    std::filesystem::create_symlink("f", at("to-file"));
    std::filesystem::create_directory_symlink("a", at("to-directory"));
    EXPECT_TRUE(files.isFile(text("to-file")));
    EXPECT_TRUE(files.isDirectory(text("to-directory")));
    EXPECT_TRUE(writeFile(files, "to-directory/g", "y"));
    EXPECT_EQ("y", readFile(files, "a/g"));
    EXPECT_EQ("x", readFile(files, "to-file"));
}

using RealUniqueName = OnDisk;

TEST_F(RealUniqueName, IsEmptyBelowALinkToItselfWithoutTryingOtherNames) {
    std::filesystem::create_symlink("loop", at("loop"));
    struct Counting : RealFileSystem {
        using RealFileSystem::RealFileSystem;
        bool exists(QString const& path) const override {
            ++looks;
            return RealFileSystem::exists(path);
        }
        mutable int looks = 0;
    };
    Counting counting(text(directory.string()));
    EXPECT_EQ("", counting.getUniqueFileName("loop", "n", "").toStdString());
    EXPECT_EQ(1, counting.looks);
}

using RealSpecialFiles = OnDisk;

/** Expects `path` to exist without being a regular file, to be impossible to open, and to remain. */
void expectClosed(RealFileSystem& files, std::string const& path) {
    EXPECT_TRUE(files.exists(text(path)));
    EXPECT_FALSE(files.isFile(text(path)));
    EXPECT_FALSE(files.isDirectory(text(path)));
    EXPECT_EQ(nullptr, openedForReading(files, path));
    EXPECT_EQ(nullptr, openedForWriting(files, path));
    EXPECT_EQ(-1, files.size(text(path)));
    EXPECT_EQ(nullptr, files.loadModule(text(path)));
    EXPECT_THAT(listing(files, path), IsEmpty());
    EXPECT_TRUE(files.exists(text(path)));
}

TEST_F(RealSpecialFiles, PipesDoNotOpenAndDoNotBlock) {
    ASSERT_EQ(0, ::mkfifo(at("pipe").c_str(), 0666));
    expectClosed(files, "pipe");
    std::filesystem::create_symlink("pipe", at("link"));
    expectClosed(files, "link");
}

TEST_F(RealSpecialFiles, SocketsDoNotOpen) {
    int const server = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    ASSERT_LT(at("socket").size(), sizeof address.sun_path);
    std::strcpy(address.sun_path, at("socket").c_str());
    ASSERT_EQ(0, ::bind(server, reinterpret_cast<sockaddr const*>(&address), sizeof address));
    expectClosed(files, "socket");
    ::close(server);
}

TEST_F(RealSpecialFiles, DevicesDoNotOpen) {
    RealFileSystem devices(text("/dev"));
    expectClosed(devices, "null");
    std::filesystem::create_symlink("/dev/null", at("link"));
    expectClosed(files, "link");
}

TEST_F(RealSpecialFiles, CanBeRemoved) {
    ASSERT_EQ(0, ::mkfifo(at("pipe").c_str(), 0666));
    EXPECT_TRUE(files.remove(text("pipe")));
    EXPECT_THAT(listing(files, "/"), IsEmpty());
}

using RealRemove = OnDisk;

TEST_F(RealRemove, RemovesLinksButNotTheirTargets) {
    ASSERT_TRUE(files.mkdir(text("kept")));
    putFile(at("kept/f"), "x");
    ASSERT_TRUE(files.mkdir(text("tree")));
    std::filesystem::create_directory_symlink("../kept", at("tree/to-directory"));
    std::filesystem::create_symlink("../kept/f", at("tree/to-file"));
    std::filesystem::create_directory_symlink("kept", at("link"));
    EXPECT_TRUE(files.remove(text("link/")));
    EXPECT_TRUE(files.remove(text("tree")));
    EXPECT_THAT(listing(files, "/"), ElementsAre("kept"));
    EXPECT_EQ("x", fileBytes(at("kept/f")));
}

TEST_F(RealRemove, RemovesADanglingLink) {
    std::filesystem::create_symlink("nowhere", at("link"));
    EXPECT_TRUE(files.remove(text("link")));
    EXPECT_THAT(listing(files, "/"), IsEmpty());
}

TEST_F(RealRemove, RemovesNamesThatNoPathCanExpress) {
    ASSERT_TRUE(files.mkdir(text("a")));
    putFile(at("a/\xFF"), "x");
    EXPECT_TRUE(files.remove(text("a")));
    EXPECT_THAT(listing(files, "/"), IsEmpty());
}

TEST_F(RealRemove, RemovesWideTrees) {
    ASSERT_TRUE(files.mkdir(text("a")));
    for (int i = 0; i < 50; ++i) {
        std::string const level = "a/" + std::to_string(i);
        ASSERT_TRUE(files.mkdir(text(level)));
        for (int j = 0; j < 5; ++j)
            ASSERT_TRUE(writeFile(files, level + "/" + std::to_string(j), ""));
        ASSERT_TRUE(files.mkdir(text(level + "/b")));
        ASSERT_TRUE(writeFile(files, level + "/b/f", ""));
    }
    EXPECT_TRUE(files.remove(text("a")));
    EXPECT_THAT(listing(files, "/"), IsEmpty());
}

/** Creates a chain of directories below `path` that is longer than a path may be. */
void makeDeepTree(std::string const& path, int levels) {
    int current = ::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    for (int level = 0; level < levels; ++level) {
        ASSERT_EQ(0, ::mkdirat(current, "directory", 0777));
        int const next = ::openat(current, "directory", O_PATH | O_DIRECTORY | O_CLOEXEC);
        ASSERT_GE(next, 0);
        ::close(current);
        current = next;
    }
    ::close(current);
}

TEST_F(RealRemove, RemovesTreesDeeperThanTheLimitsOnPathsAndDescriptors) {
    ASSERT_TRUE(files.mkdir(text("a")));
    makeDeepTree(at("a"), 2000);
    ASSERT_EQ(0, inChild([this] {
                  rlimit const few = {32, 32};
                  EXPECT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &few));
                  EXPECT_TRUE(files.remove(text("a")));
              }));
    EXPECT_THAT(listing(files, "/"), IsEmpty());
}

TEST_F(RealRemove, IsFalseIfSomethingCannotBeRemoved) {
    ASSERT_EQ(0, asOrdinaryUser(directory, [this] {
                  EXPECT_TRUE(files.mkdir(text("a")));
                  EXPECT_TRUE(files.mkdir(text("a/locked")));
                  EXPECT_TRUE(writeFile(files, "a/locked/f", "x"));
                  EXPECT_EQ(0, ::chmod(at("a/locked").c_str(), 0500));
                  EXPECT_FALSE(files.remove(text("a")));
                  EXPECT_EQ("x", readFile(files, "a/locked/f"));
              }));
}

using RealMakeDirectory = OnDisk;

TEST_F(RealMakeDirectory, LeavesThePermissionsToTheMask) {
    ASSERT_EQ(0, inChild([this] {
                  ::umask(027);
                  EXPECT_TRUE(files.mkdir(text("a")));
              }));
    EXPECT_EQ(0750U, permissions(at("a")));
}

using RealDates = OnDisk;

TEST_F(RealDates, After2038DoNotPreventReadingAndReplacingAFile) {
    putFile(at("f"), "old");
    if (!dateLate(at("f")))
        GTEST_SKIP() << "the file system cannot store the date";
    EXPECT_TRUE(files.exists(text("f")));
    EXPECT_TRUE(files.isFile(text("f")));
    EXPECT_EQ(3, files.size(text("f")));
    EXPECT_EQ("old", readFile(files, "f"));
    EXPECT_EQ(lateDate, files.stampAt(text("f")).changedSeconds);
    EXPECT_TRUE(writeFile(files, "f", "new"));
    EXPECT_EQ("new", readFile(files, "f"));
}

TEST_F(RealDates, After2038DoNotPreventUsingADirectory) {
    ASSERT_TRUE(files.mkdir(text("a")));
    if (!dateLate(at("a")))
        GTEST_SKIP() << "the file system cannot store the date";
    EXPECT_TRUE(files.isDirectory(text("a")));
    EXPECT_TRUE(writeFile(files, "a/f", "x"));
    ASSERT_TRUE(dateLate(at("a")));
    EXPECT_THAT(listing(files, "a"), ElementsAre("f"));
    EXPECT_TRUE(files.remove(text("a")));
    EXPECT_THAT(listing(files, "/"), IsEmpty());
}

using RealRead = OnDisk;

/** The number of read calls that this process has made; -1 if the system does not count them. */
long readCalls() {
    std::ifstream counts("/proc/self/io");
    std::string name;
    for (long value = 0; counts >> name >> value;)
        if (name == "syscr:")
            return value;
    return -1;
}

TEST_F(RealRead, ReadsManyBytesPerSystemCall) {
    if (readCalls() < 0)
        GTEST_SKIP() << "the system does not count read calls";
    std::string const bytes = someBytes(100'000);
    putFile(at("f"), bytes);
    FileHandle* const handle = openedForReading(files, "f");
    long const before = readCalls();
    std::string all;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        all += files.readByte(handle);
    EXPECT_LT(readCalls() - before, 100);
    EXPECT_EQ(bytes, all);
}

TEST_F(RealRead, SeesTheOldContentOfAFileThatIsReplaced) {
    putFile(at("f"), "old content");
    FileHandle* const handle = openedForReading(files, "f");
    EXPECT_EQ("old", read(files, handle, 3));
    ASSERT_TRUE(writeFile(files, "f", "new"));
    EXPECT_EQ(" content", read(files, handle, 100));
    EXPECT_EQ("new", readFile(files, "f"));
}

TEST_F(RealRead, SeesTheOldContentOfAFileThatIsRemoved) {
    putFile(at("f"), "old content");
    FileHandle* const handle = openedForReading(files, "f");
    ASSERT_TRUE(files.remove(text("f")));
    EXPECT_EQ("old content", read(files, handle, 100));
    EXPECT_TRUE(files.close(handle));
}

using RealClose = OnDisk;

TEST_F(RealClose, IsFalseTheSecondTime) {
    putFile(at("f"), "x");
    FileHandle* const handle = openedForReading(files, "f");
    EXPECT_TRUE(files.close(handle));
    EXPECT_FALSE(files.close(handle));
}

TEST_F(RealClose, ReleasesTheDescriptors) {
    auto const descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    auto const before = descriptors();
    putFile(at("f"), "x");
    EXPECT_TRUE(files.close(openedForReading(files, "f")));
    EXPECT_TRUE(files.close(openedForWriting(files, "f")));
    EXPECT_EQ(before, descriptors());
    {
        RealFileSystem other(text(directory.string()));
        EXPECT_NE(nullptr, openedForReading(other, "f"));
        EXPECT_NE(nullptr, openedForWriting(other, "f"));
        EXPECT_LT(before, descriptors());
    }
    EXPECT_EQ(before, descriptors());
}

using RealStamp = OnDisk;

TEST_F(RealStamp, OfAHandleEqualsTheStampOfItsPath) {
    putFile(at("f"), "x");
    FileHandle* const handle = openedForReading(files, "f");
    EXPECT_TRUE(files.stamp(handle) == files.stampAt(text("f")));
    EXPECT_NE(0U, files.stampAt(text("f")).number);
}

TEST_F(RealStamp, OfAFlushedFileIsKeptWhenItIsMovedIntoPlace) {
    FileHandle* const handle = openedForWriting(files, "f");
    ASSERT_EQ(1, files.write(handle, "x", 1));
    ASSERT_TRUE(files.flush(handle));
    auto const written = files.stamp(handle);
    ASSERT_TRUE(files.close(handle));
    EXPECT_TRUE(written == files.stampAt(text("f")));
}

TEST_F(RealStamp, DiffersBetweenFiles) {
    putFile(at("f"), "x");
    putFile(at("g"), "x");
    EXPECT_FALSE(files.stampAt(text("f")) == files.stampAt(text("g")));
}

TEST_F(RealStamp, OfAMissingFileHasNoNumber) {
    EXPECT_EQ(0U, files.stampAt(text("f")).number);
}

TEST_F(RealStamp, OfAPathOutsideTheRootHasNoNumber) {
    EXPECT_EQ(0U, files.stampAt(text("../f")).number);
}

TEST_F(RealStamp, OfAClosedHandleHasNoNumber) {
    putFile(at("f"), "x");
    FileHandle* const handle = openedForReading(files, "f");
    ASSERT_TRUE(files.close(handle));
    EXPECT_EQ(0U, files.stamp(handle).number);
}

/** Files that are kept under a second name. */
class RealKeep : public OnDisk {
protected:
    RealKeep() { putFile(at("f"), "content"); }
};

TEST_F(RealKeep, ReplacesTheFileOfTheSecondName) {
    putFile(at("g"), "before");
    ASSERT_TRUE(files.keepAs(text("f"), text("g")));
    EXPECT_EQ("content", fileBytes(at("g")));
    EXPECT_EQ("content", fileBytes(at("f")));
}

TEST_F(RealKeep, KeepsTheContentThatIsReplacedAfterwards) {
    ASSERT_TRUE(files.keepAs(text("f"), text("g")));
    ASSERT_TRUE(writeFile(files, "f", "new"));
    EXPECT_EQ("content", fileBytes(at("g")));
}

TEST_F(RealKeep, MayBeRepeated) {
    ASSERT_TRUE(files.keepAs(text("f"), text("g")));
    ASSERT_TRUE(files.keepAs(text("f"), text("g")));
    EXPECT_THAT(listing(files, "/"), ElementsAre("f", "g"));
}

TEST_F(RealKeep, ReportsAMissingFile) {
    EXPECT_FALSE(files.keepAs(text("missing"), text("g")));
    EXPECT_EQ(ENOENT, errno);
}

TEST_F(RealKeep, RefusesPathsThatAreNotBelowTheRoot) {
    for (auto const& [path, second] :
         {std::pair("../f", "g"), std::pair("f", "../g"), std::pair("", "g"), std::pair("f", "/")}) {
        EXPECT_FALSE(files.keepAs(text(path), text(second)));
        EXPECT_EQ(EINVAL, errno) << path << ' ' << second;
    }
    EXPECT_THAT(listing(files, "/"), ElementsAre("f"));
}

using RealMoveAside = RealKeep;

TEST_F(RealMoveAside, RenamesTheFile) {
    ASSERT_TRUE(files.moveAside(text("f"), text("g")));
    EXPECT_EQ("content", fileBytes(at("g")));
    EXPECT_THAT(listing(files, "/"), ElementsAre("g"));
}

TEST_F(RealMoveAside, DoesNotReplaceAFile) {
    putFile(at("g"), "other");
    EXPECT_FALSE(files.moveAside(text("f"), text("g")));
    EXPECT_EQ(EEXIST, errno);
    EXPECT_EQ("other", fileBytes(at("g")));
    EXPECT_EQ("content", fileBytes(at("f")));
}

TEST_F(RealMoveAside, RefusesPathsThatAreNotBelowTheRoot) {
    for (auto const& [path, name] :
         {std::pair("../f", "g"), std::pair("f", "../g"), std::pair("", "g"), std::pair("f", "/")}) {
        EXPECT_FALSE(files.moveAside(text(path), text(name)));
        EXPECT_EQ(EINVAL, errno) << path << ' ' << name;
    }
    EXPECT_THAT(listing(files, "/"), ElementsAre("f"));
}

} // namespace
