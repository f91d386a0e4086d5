// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem/PrivateDirectory.h>

#include "AccessList.h"
#include "support/TemporaryName.h"
#include "utils/Exception.h"

// Operations during which a system call fails. The program intercepts the system calls of the library, counts them, and
// makes the chosen ones fail.

namespace {

/** The call that must fail: the `left`th from now on; counts only calls named `name`, if it is not empty. */
struct Fault {
    int left = 0;
    int error = 0;
    std::string name;
    bool always = false;       ///< all later calls fail, too
    char const* hit = nullptr; ///< the call that has failed
};

Fault* fault = nullptr;
bool hasLinks = true;        ///< whether the file system supports hard links
bool canRenameSafely = true; ///< whether it can rename without overwriting

bool fails(char const* name) noexcept {
    if (fault == nullptr || (!fault->name.empty() && fault->name != name))
        return false;
    if (--fault->left > 0 || (fault->left < 0 && !fault->always))
        return false;
    fault->hit = name;
    errno = fault->error;
    return true;
}

/**
 * The C library's definition of a function. On 32-bit machines, the variants for large files and for dates after 2038
 * have other names; if both exist, the programs call the one for dates.
 */
template <class Function>
Function* original(std::string const& name) {
    void* found = nullptr;
    if (sizeof(long) == 4)
        for (auto const& other : {"__" + name + "64_time64", "__" + name + "_time64", name + "64"})
            if (found == nullptr)
                found = ::dlsym(RTLD_NEXT, other.c_str());
    return reinterpret_cast<Function*>(found != nullptr ? found : ::dlsym(RTLD_NEXT, name.c_str()));
}

} // namespace

// Makes the call fail, or passes it on to the system.
#define VELMORAND_PASS_ON(failed, name, ...)                                                                 \
    static auto* const system = original<decltype(name)>(#name);                                             \
    return fails(#name) ? (failed) : system(__VA_ARGS__)

extern "C" {

int faccessat(int base, char const* path, int mode, int flags) noexcept {
    VELMORAND_PASS_ON(-1, faccessat, base, path, mode, flags);
}
int fchmod(int file, mode_t mode) noexcept {
    VELMORAND_PASS_ON(-1, fchmod, file, mode);
}
int fchown(int file, uid_t user, gid_t group) noexcept {
    VELMORAND_PASS_ON(-1, fchown, file, user, group);
}
int flock(int file, int operation) noexcept {
    VELMORAND_PASS_ON(-1, flock, file, operation);
}
int fstat(int file, struct stat* status) noexcept {
    VELMORAND_PASS_ON(-1, fstat, file, status);
}
int fstatat(int base, char const* path, struct stat* status, int flags) noexcept {
    VELMORAND_PASS_ON(-1, fstatat, base, path, status, flags);
}
int stat(char const* path, struct stat* status) noexcept {
    VELMORAND_PASS_ON(-1, stat, path, status);
}
int fsync(int file) {
    VELMORAND_PASS_ON(-1, fsync, file);
}
ssize_t fgetxattr(int file, char const* name, void* value, size_t size) noexcept {
    VELMORAND_PASS_ON(-1, fgetxattr, file, name, value, size);
}
ssize_t flistxattr(int file, char* list, size_t size) noexcept {
    VELMORAND_PASS_ON(-1, flistxattr, file, list, size);
}
int fremovexattr(int file, char const* name) noexcept {
    VELMORAND_PASS_ON(-1, fremovexattr, file, name);
}
int fsetxattr(int file, char const* name, void const* value, size_t size, int flags) noexcept {
    VELMORAND_PASS_ON(-1, fsetxattr, file, name, value, size, flags);
}
int syncfs(int file) noexcept {
    VELMORAND_PASS_ON(-1, syncfs, file);
}
int mkdir(char const* path, mode_t mode) noexcept {
    VELMORAND_PASS_ON(-1, mkdir, path, mode);
}
int memfd_create(char const* name, unsigned flags) noexcept {
    VELMORAND_PASS_ON(-1, memfd_create, name, flags);
}
int renameat(int base, char const* from, int otherBase, char const* to) noexcept {
    VELMORAND_PASS_ON(-1, renameat, base, from, otherBase, to);
}
int renameat2(int base, char const* from, int otherBase, char const* to, unsigned flags) noexcept {
    if (!canRenameSafely) {
        errno = EINVAL;
        return -1;
    }
    VELMORAND_PASS_ON(-1, renameat2, base, from, otherBase, to, flags);
}
int rename(char const* from, char const* to) noexcept {
    VELMORAND_PASS_ON(-1, rename, from, to);
}
int link(char const* from, char const* to) noexcept {
    VELMORAND_PASS_ON(-1, link, from, to);
}
int linkat(int base, char const* from, int otherBase, char const* to, int flags) noexcept {
    if (!hasLinks) {
        errno = EPERM;
        return -1;
    }
    VELMORAND_PASS_ON(-1, linkat, base, from, otherBase, to, flags);
}
int unlink(char const* path) noexcept {
    VELMORAND_PASS_ON(-1, unlink, path);
}
int unlinkat(int base, char const* path, int flags) noexcept {
    VELMORAND_PASS_ON(-1, unlinkat, base, path, flags);
}
ssize_t getrandom(void* buffer, size_t size, unsigned flags) {
    VELMORAND_PASS_ON(-1, getrandom, buffer, size, flags);
}
ssize_t pread(int file, void* buffer, size_t count, off_t position) {
    VELMORAND_PASS_ON(-1, pread, file, buffer, count, position);
}
ssize_t pwrite(int file, void const* bytes, size_t count, off_t position) {
    VELMORAND_PASS_ON(-1, pwrite, file, bytes, count, position);
}
ssize_t readlinkat(int base, char const* path, char* buffer, size_t size) noexcept {
    VELMORAND_PASS_ON(-1, readlinkat, base, path, buffer, size);
}
DIR* fdopendir(int file) {
    VELMORAND_PASS_ON(nullptr, fdopendir, file);
}
dirent* readdir(DIR* stream) {
    VELMORAND_PASS_ON(nullptr, readdir, stream);
}

/** Closes the file even if the call must fail, as Linux does. */
int close(int file) {
    static auto* const system = original<decltype(close)>("close");
    int const result = system(file);
    return fails("close") ? -1 : result;
}

int open(char const* path, int flags, ...) {
    static auto* const system = original<decltype(open)>("open");
    std::va_list list;
    va_start(list, flags);
    mode_t const mode = (flags & O_CREAT) != 0 ? va_arg(list, mode_t) : 0;
    va_end(list);
    return fails("open") ? -1 : system(path, flags, mode);
}

int openat(int base, char const* path, int flags, ...) {
    static auto* const system = original<decltype(openat)>("openat");
    std::va_list list;
    va_start(list, flags);
    mode_t const mode = (flags & O_CREAT) != 0 ? va_arg(list, mode_t) : 0;
    va_end(list);
    return fails("openat") ? -1 : system(base, path, flags, mode);
}

int fcntl(int file, int command, ...) {
    static auto* const system = original<decltype(fcntl)>("fcntl");
    std::va_list list;
    va_start(list, command);
    void* const argument = va_arg(list, void*);
    va_end(list);
    return fails("fcntl") ? -1 : system(file, command, argument);
}

} // extern "C"

namespace {

using namespace support;

constexpr int errors[] = {EIO,    ENOSPC, EDQUOT, EROFS,  EACCES,     EPERM,
                          ENOENT, EEXIST, EINVAL, EMFILE, EWOULDBLOCK};

/** Describes the injected error in the trace of a failed expectation. */
std::string told(int error, int call) {
    return std::string(std::strerror(error)) + " at call " + std::to_string(call);
}

class SystemCalls : public OnDisk {
protected:
    ~SystemCalls() noexcept override {
        hasLinks = true;
        canRenameSafely = true;
    }

    /** Runs `operation` with a fault. Result: whether it made the call that must fail. */
    template <class Operation>
    bool withFault(Fault planned, Operation operation) {
        fault = &planned;
        operation();
        fault = nullptr;
        failed = planned.hit == nullptr ? "" : planned.hit;
        error = planned.error;
        return planned.hit != nullptr;
    }

    /** Runs `prepare`, `operation` and `check` for each call that `operation` makes and each error of that call. */
    template <class Prepare, class Operation, class Check>
    void failEveryCall(Prepare prepare, Operation operation, Check check) {
        for (int const planned : errors) {
            int call = 0;
            bool hit = true;
            while (hit) {
                SCOPED_TRACE(told(planned, ++call));
                prepare();
                std::size_t const descriptors = openDescriptors();
                hit = withFault({call, planned, "", false}, operation);
                check();
                EXPECT_EQ(descriptors, openDescriptors());
                if (HasFailure())
                    return;
            }
            EXPECT_LT(1, call) << "no call to fail";
        }
    }

    std::string failed; ///< the name of the call that failed last; empty if none did
    int error = 0;      ///< its error

    static std::size_t openDescriptors() {
        std::size_t count = 0;
        for ([[maybe_unused]] auto const& entry : std::filesystem::directory_iterator("/proc/self/fd"))
            ++count;
        return count;
    }

    [[nodiscard]] std::set<std::string> entries() const {
        std::set<std::string> result;
        for (auto const& entry : std::filesystem::directory_iterator(directory.path()))
            result.insert(entry.path().filename().string());
        return result;
    }

    /** Reads the start of a small file without asking for its size. */
    std::string read(std::string const& name) {
        FileHandle* const handle = openedForReading(files, name);
        std::string bytes = handle == nullptr ? "no file" : support::read(files, handle, 100);
        files.close(handle);
        return bytes;
    }

    /** Keeps a file under a second name, which another file has, while each call fails. */
    void keepDespiteFaults() {
        bool isKept = false;
        int why = 0;
        failEveryCall(
            [&] {
                clear();
                putFile(at("file"), "content");
                putFile(at("second"), "before");
            },
            [&] {
                isKept = files.keepAs(text("file"), text("second"));
                why = errno;
            },
            [&] {
                EXPECT_EQ("content", fileBytes(at("file")));
                std::string const second = fileBytes(at("second"));
                // If only the directory could not be flushed, the second name may have the content.
                EXPECT_TRUE(second == "content" || (second == "before" && !isKept))
                    << failed << ": " << second;
                EXPECT_TRUE(isKept || why == error) << failed << ": " << std::strerror(why);
                EXPECT_TRUE(entries() == (std::set<std::string>{"file", "second"}) || failed == "unlink" ||
                            failed == "unlinkat")
                    << failed << ": " << ::testing::PrintToString(entries());
            });
    }

    /** Renames a file to an unused name while each call fails. */
    void moveAsideDespiteFaults() {
        bool isMoved = false;
        int why = 0;
        failEveryCall(
            [&] {
                clear();
                putFile(at("file"), "content");
            },
            [&] {
                isMoved = files.moveAside(text("file"), text("aside"));
                why = errno;
            },
            [&] {
                EXPECT_TRUE(isMoved || why == error) << failed << ": " << std::strerror(why);
                // If the old name could not be removed, both exist.
                EXPECT_TRUE(entries() == std::set<std::string>{isMoved ? "aside" : "file"} ||
                            (!isMoved && failed == "unlink"))
                    << failed << ": " << ::testing::PrintToString(entries());
                for (std::string const& name : entries())
                    EXPECT_EQ("content", fileBytes(at(name))) << name;
            });
    }

    void clear() {
        for (auto const& entry : std::filesystem::directory_iterator(directory.path()))
            std::filesystem::remove_all(entry.path());
    }
};

} // namespace

TEST_F(SystemCalls, ThatFailLeaveAReplacedFileOldOrNew) {
    bool replaced = false;
    failEveryCall(
        [&] {
            clear();
            putFile(at("file"), "old");
            std::filesystem::permissions(at("file"), std::filesystem::perms(0640));
            putFile(at(temporaryName("file")), "left by a killed process");
            // Owned by another user if possible, because the owner must be kept as well.
            ASSERT_TRUE(::geteuid() != 0 || ::chown(at("file").c_str(), 65534, 65534) == 0);
        },
        [&] { replaced = writeFile(files, "file", "new"); },
        [&] {
            std::string const content = fileBytes(at("file"));
            EXPECT_TRUE(content == "new" || (content == "old" && !replaced)) << content;
            // The mode is kept, unless the old file was reported missing or its access control list was unavailable.
            EXPECT_TRUE(
                permissions(at("file")) == 0640U || (failed == "fstatat" && error == ENOENT) ||
                (permissions(at("file")) == 0600U && (failed == "fgetxattr" || failed == "fremovexattr")));
            std::set<std::string> left = entries();
            left.erase(temporaryName("file"));
            EXPECT_TRUE(left == std::set<std::string>{"file"} || failed == "unlinkat")
                << failed << ": " << ::testing::PrintToString(left);
            // The next replacement removes a temporary file that remained.
            EXPECT_TRUE(writeFile(files, "file", "newer"));
            EXPECT_EQ((std::set<std::string>{"file"}), entries());
            EXPECT_EQ("newer", fileBytes(at("file")));
        });
}

TEST_F(SystemCalls, ThatFailGiveTheReasonWhyAFileIsNotReplaced) {
    std::string const large(100'000, 'n'); // written before the close
    bool replaced = false;
    int why = 0;
    failEveryCall([&] { putFile(at("file"), "old"); },
                  [&] {
                      FileHandle* const handle = openedForWriting(files, "file");
                      if (handle != nullptr)
                          write(files, handle, large);
                      replaced = handle != nullptr && files.close(handle);
                      why = errno;
                  },
                  [&] { EXPECT_TRUE(replaced || why == error) << failed << ": " << std::strerror(why); });
}

TEST_F(SystemCalls, ThatFailLeaveANewFileMissingOrWhole) {
    bool made = false;
    failEveryCall([&] { clear(); }, [&] { made = writeFile(files, "file", "new"); },
                  [&] {
                      bool const there = std::filesystem::exists(at("file"));
                      EXPECT_TRUE(there || !made);
                      EXPECT_TRUE(!there || fileBytes(at("file")) == "new");
                      EXPECT_TRUE(writeFile(files, "file", "newer"));
                      EXPECT_EQ((std::set<std::string>{"file"}), entries());
                  });
}

TEST_F(SystemCalls, ThatFailLeaveALinkAndItsTarget) {
    bool replaced = false;
    failEveryCall(
        [&] {
            clear();
            std::filesystem::create_directory(at("target"));
            putFile(at("target/file"), "old");
            std::filesystem::create_symlink("target/file", at("link"));
        },
        [&] { replaced = writeFile(files, "link", "new"); },
        [&] {
            EXPECT_TRUE(std::filesystem::is_symlink(at("link")));
            EXPECT_EQ((std::set<std::string>{"link", "target"}), entries());
            std::string const content = fileBytes(at("target/file"));
            EXPECT_TRUE(content == "new" || (content == "old" && !replaced)) << content;
        });
}

TEST_F(SystemCalls, ThatFailMakeAReadShortButNeverWrong) {
    std::string content;
    failEveryCall(
        [&] { putFile(at("file"), "content"); }, [&] { content = read("file"); },
        [&] { EXPECT_TRUE(content == "content" || content.empty() || content == "no file") << content; });
}

TEST_F(SystemCalls, ThatFailMakeAListingEmptyButNeverPartial) {
    std::vector<std::string> listed;
    failEveryCall(
        [&] {
            putFile(at("a"), "");
            putFile(at("b"), "");
        },
        [&] { listed = listing(files, ""); },
        [&] {
            EXPECT_TRUE(listed.empty() || listed == (std::vector<std::string>{"a", "b"}));
        });
}

TEST_F(SystemCalls, ThatFailLeaveARemovalThatCanBeRepeated) {
    bool removed = false;
    failEveryCall(
        [&] {
            clear();
            std::filesystem::create_directories(at("tree/of/directories"));
            putFile(at("tree/of/file"), "");
            putFile(at("tree/of/directories/file"), "");
            putFile(at("beside"), "");
        },
        [&] { removed = files.remove("tree"); },
        [&] {
            bool const there = std::filesystem::exists(at("tree"));
            EXPECT_TRUE(!removed || !there);
            EXPECT_EQ(there, files.remove("tree"));
            EXPECT_EQ((std::set<std::string>{"beside"}), entries());
        });
}

TEST_F(SystemCalls, ThatFailCreateNoDirectory) {
    bool made = false;
    failEveryCall([&] { clear(); }, [&] { made = files.mkdir("sub"); },
                  [&] { EXPECT_EQ(made, std::filesystem::exists(at("sub"))); });
}

TEST_F(SystemCalls, ThatFailDoNotPreventLoadingTheModuleAgain) {
    RAMFileSystem memory;
    ASSERT_TRUE(writeFile(memory, "/module", fileBytes(VELMORAND_TEST_MODULE_1)));
    // While this one is loaded, the next needs a descriptor with another number.
    void* const first = memory.loadModule("/module");
    failEveryCall([] {}, [&] { memory.unloadModule(memory.loadModule("/module")); },
                  [&] {
                      void* const module = memory.loadModule("/module");
                      EXPECT_NE(nullptr, module);
                      EXPECT_TRUE(memory.unloadModule(module));
                  });
    EXPECT_TRUE(memory.unloadModule(first));
}

TEST_F(SystemCalls, ThatAreInterruptedAreRepeated) {
    for (char const* const call :
         {"open",      "openat",   "pread",     "pwrite",     "fsync",        "flock",    "fchmod",  "fchown",
          "getrandom", "close",    "faccessat", "readlinkat", "stat",         "fstat",    "fstatat", "fcntl",
          "renameat",  "unlinkat", "fgetxattr", "flistxattr", "fremovexattr", "fsetxattr"})
        for (int nth = 1; nth <= 10; ++nth) {
            SCOPED_TRACE(std::string(call) + ' ' + std::to_string(nth));
            clear();
            putFile(at("file"), "old");
            putFile(at(temporaryName("file")), "left by a killed process");
            static_cast<void>(
                setAttribute(at("file"), "user.test", "kept")); // if the file system supports it
            ASSERT_TRUE(::geteuid() != 0 || ::chown(at("file").c_str(), 65534, 65534) == 0);
            withFault({nth, EINTR, call, false}, [&] {
                EXPECT_TRUE(writeFile(files, "file", "new"));
                EXPECT_EQ("new", read("file"));
                EXPECT_EQ((std::vector<std::string>{"file"}), listing(files, ""));
            });
        }
}

TEST_F(SystemCalls, ThatFindTheTemporaryFileLockedLeadToAnotherName) {
    putFile(at("file"), "old");
    EXPECT_TRUE(
        withFault({1, EWOULDBLOCK, "flock", false}, [&] { EXPECT_TRUE(writeFile(files, "file", "new")); }));
    EXPECT_EQ("new", fileBytes(at("file")));
    EXPECT_EQ((std::set<std::string>{"file"}), entries());
}

TEST_F(SystemCalls, ThatNeverSucceedAreNotRepeatedForever) {
    putFile(at("file"), "old");
    for (auto const& [call, kind] :
         std::map<char const*, int>{{"flock", EWOULDBLOCK}, {"getrandom", ENOSYS}}) {
        EXPECT_TRUE(withFault({1, kind, call, true}, [&] {
            EXPECT_EQ(nullptr, openedForWriting(files, "file"));
        })) << call;
        EXPECT_EQ("old", fileBytes(at("file")));
        EXPECT_EQ((std::set<std::string>{"file"}), entries());
    }
}

TEST_F(SystemCalls, ThatReportMissingLockSupportAreIgnored) {
    putFile(at("file"), "old");
    EXPECT_TRUE(withFault({1, ENOLCK, "flock", true}, [&] { EXPECT_TRUE(writeFile(files, "file", "new")); }));
    EXPECT_EQ("new", fileBytes(at("file")));
}

TEST_F(SystemCalls, ThatCannotFlushADirectoryAreIgnored) {
    putFile(at("file"), "old");
    EXPECT_TRUE(
        withFault({2, EINVAL, "fsync", false}, [&] { EXPECT_TRUE(writeFile(files, "file", "new")); }));
    EXPECT_TRUE(
        withFault({1, EINVAL, "fsync", false}, [&] { EXPECT_FALSE(writeFile(files, "file", "newer")); }));
    EXPECT_EQ("new", fileBytes(at("file")));
}

TEST_F(SystemCalls, ThatCannotOpenADirectoryForReadingLeadToSyncfs) {
    putFile(at("file"), "old");
    // The first one opens the directory for reading.
    Fault const unreadable = {1, EACCES, "openat", false};
    EXPECT_TRUE(withFault(unreadable, [&] { EXPECT_TRUE(writeFile(files, "file", "new")); }));
    EXPECT_EQ("new", fileBytes(at("file")));

    FileHandle* handle = nullptr;
    EXPECT_TRUE(withFault(unreadable, [&] { handle = openedForWriting(files, "file"); }));
    EXPECT_TRUE(withFault({1, EIO, "syncfs", false}, [&] { EXPECT_FALSE(files.close(handle)); }));
    EXPECT_TRUE(withFault(unreadable, [&] { handle = openedForWriting(files, "file"); }));
    EXPECT_TRUE(withFault({1, EINTR, "syncfs", false}, [&] { EXPECT_TRUE(files.close(handle)); }));
}

TEST_F(SystemCalls, ThatFailToCopyAnAccessListLeaveRightsOnlyToTheOwner) {
    if (!hasAccessLists(directory.string()))
        GTEST_SKIP() << "the file system has no access control lists";
    for (int const kind : {EPERM, ENOTSUP, ENOSPC, EACCES, EIO})
        for (char const* const call : {"fgetxattr", "fsetxattr"}) {
            if (kind == ENOTSUP && std::string(call) == "fgetxattr")
                continue; // this error means that the file system does not support lists
            clear();
            putFile(at("file"), "old");
            ASSERT_TRUE(
                setAttribute(at("file"), accessListName, AccessList(6, 4, 4, 6).withUser(1234, 6).bytes()));
            EXPECT_TRUE(
                withFault({1, kind, call, false}, [&] { EXPECT_TRUE(writeFile(files, "file", "new")); }));
            EXPECT_EQ("new", fileBytes(at("file")));
            EXPECT_EQ(std::nullopt, attribute(at("file"), accessListName));
            EXPECT_EQ(0600U, permissions(at("file"))) << call << ' ' << std::strerror(kind);
        }
}

TEST_F(SystemCalls, ThatFailToRemoveAnInheritedAccessListLeaveRightsOnlyToTheOwner) {
    if (!hasAccessLists(directory.string()))
        GTEST_SKIP() << "the file system has no access control lists";
    putFile(at("file"), "old");
    ASSERT_EQ(0, ::chmod(at("file").c_str(), 0664));
    ASSERT_TRUE(
        setAttribute(directory.string(), defaultListName, AccessList(6, 6, 6, 6).withUser(1234, 6).bytes()));
    EXPECT_TRUE(
        withFault({1, EPERM, "fremovexattr", false}, [&] { EXPECT_TRUE(writeFile(files, "file", "new")); }));
    EXPECT_EQ(0600U, permissions(at("file"))); // the group bits are the list's mask
}

TEST_F(SystemCalls, ThatCannotListAttributesKeepTheAccessList) {
    if (!hasAccessLists(directory.string()))
        GTEST_SKIP() << "the file system has no access control lists";
    putFile(at("file"), "old");
    ASSERT_TRUE(setAttribute(at("file"), accessListName, listForOneUser()));
    EXPECT_TRUE(
        withFault({1, E2BIG, "flistxattr", false}, [&] { EXPECT_TRUE(writeFile(files, "file", "new")); }));
    EXPECT_EQ("new", fileBytes(at("file")));
    EXPECT_EQ(listForOneUser(), attribute(at("file"), accessListName));
    EXPECT_EQ(0660U, permissions(at("file")));
}

TEST_F(SystemCalls, ThatFailToReadARegisterFileAreNotReportedAsDamage) {
    RAMFileSystem memory;
    FileHandle* handle = openedForWriting(files, "file");
    ASSERT_TRUE(memory.serialize(*handle));
    ASSERT_TRUE(files.close(handle));
    for (auto const& [call, kind] : std::map<char const*, int>{{"pread", EIO}, {"fstat", ENOMEM}}) {
        handle = openedForReading(files, "file");
        std::string message;
        EXPECT_TRUE(withFault({1, kind, call, true}, [&] {
            try {
                memory.unserialize(*handle);
            } catch (utils::Exception const& failure) {
                message = failure.what();
            }
        }));
        EXPECT_EQ(at("file") + ": cannot be read: " + std::strerror(kind), message);
        EXPECT_TRUE(files.close(handle));
    }
}

TEST_F(SystemCalls, ThatFailToReadGiveTheReason) {
    putFile(at("file"), "content");
    FileHandle* const handle = openedForReading(files, "file");
    EXPECT_TRUE(withFault({1, EIO, "pread", true}, [&] {
        EXPECT_EQ("", support::read(files, handle, 100));
        EXPECT_EQ(EIO, errno);
    }));
    EXPECT_EQ("content", support::read(files, handle, 100));
    EXPECT_EQ(0, errno);
}

TEST_F(SystemCalls, ThatCannotExamineAFileReportItAsExisting) {
    putFile(at("file"), "");
    for (int const kind : {EIO, EACCES, ELOOP, ENOMEM, EOVERFLOW})
        withFault({1, kind, "stat", false}, [&] { EXPECT_TRUE(files.exists("missing")) << kind; });
    for (int const kind : {ENOENT, ENOTDIR, ENAMETOOLONG})
        withFault({1, kind, "stat", false}, [&] { EXPECT_FALSE(files.exists("file")) << kind; });
}

TEST_F(SystemCalls, ThatFindALinkToItselfAreNotRepeatedForever) {
    std::filesystem::create_symlink("loop", at("loop"));
    // As if the link had been created after the first look at the path.
    EXPECT_TRUE(withFault({1, ENOENT, "faccessat", false},
                          [&] { EXPECT_EQ(nullptr, openedForWriting(files, "loop")); }));
    EXPECT_EQ((std::set<std::string>{"loop"}), entries());
}

TEST_F(SystemCalls, ThatFailToWriteTheBufferEndWriting) {
    putFile(at("file"), "old");
    FileHandle* const handle = openedForWriting(files, "file");
    ASSERT_NE(nullptr, handle);
    std::string const most(60'000, 'm');
    EXPECT_TRUE(write(files, handle, most));
    EXPECT_TRUE(withFault({1, ENOSPC, "pwrite", false}, [&] { EXPECT_FALSE(write(files, handle, most)); }));
    EXPECT_FALSE(write(files, handle, "more"));
    EXPECT_FALSE(files.close(handle));
    EXPECT_EQ("old", fileBytes(at("file")));
    EXPECT_EQ((std::set<std::string>{"file"}), entries());
}

TEST_F(SystemCalls, ThatFailLeaveAKeptFileOldOrNew) {
    keepDespiteFaults();
}

TEST_F(SystemCalls, ThatFailLeaveACopiedFileOldOrNew) {
    hasLinks = false;
    keepDespiteFaults();
}

TEST_F(SystemCalls, ThatCannotLinkAFileCopyItForItsOwnerOnly) {
    putFile(at("file"), someBytes(100'000));
    for (int const kind : {EPERM, EXDEV, EMLINK, EOPNOTSUPP}) {
        std::string const second = std::to_string(kind);
        EXPECT_TRUE(withFault({1, kind, "linkat", false},
                              [&] { EXPECT_TRUE(files.keepAs(text("file"), text(second))); }));
        EXPECT_EQ(someBytes(100'000), fileBytes(at(second)));
        EXPECT_EQ(0600U, permissions(at(second)));
    }
}

TEST_F(SystemCalls, ThatFailWhileAFileIsMovedAsideLeaveItsContent) {
    moveAsideDespiteFaults();
}

TEST_F(SystemCalls, ThatCannotRenameSafelyAreReplacedByALink) {
    canRenameSafely = false;
    moveAsideDespiteFaults();
}

TEST_F(SystemCalls, ThatCannotExamineAHandleGiveNoStamp) {
    putFile(at("file"), "content");
    FileHandle* const handle = openedForReading(files, "file");
    EXPECT_TRUE(withFault({1, EIO, "fstat", false}, [&] { EXPECT_EQ(0U, files.stamp(handle).number); }));
    EXPECT_NE(0U, files.stamp(handle).number);
    EXPECT_TRUE(files.close(handle));
}

TEST_F(SystemCalls, ThatFailGiveTheReasonWhyAPrivateDirectoryIsNotMade) {
    bool isMade = false;
    int why = 0;
    failEveryCall([&] { clear(); },
                  [&] {
                      isMade = filesystem::makePrivateDirectories(at("a/b"));
                      why = errno;
                  },
                  [&] {
                      // A name that exists but then cannot be found gives the reason of the second look.
                      EXPECT_TRUE(isMade ? std::filesystem::is_directory(at("a/b"))
                                         : why == error || (error == EEXIST && why == ENOENT))
                          << failed << ": " << std::strerror(why);
                  });
}

TEST_F(SystemCalls, ThatFindADirectoryCreatedMeanwhileUseIt) {
    ASSERT_TRUE(filesystem::makePrivateDirectories(at("a")));
    // As if another process had created it after the first two looks at the path.
    EXPECT_TRUE(withFault({3, ENOENT, "stat", false},
                          [&] { EXPECT_TRUE(filesystem::makePrivateDirectories(at("a/b"))); }));
    EXPECT_TRUE(std::filesystem::is_directory(at("a/b")));
}

TEST_F(SystemCalls, ThatFailWhileADirectoryIsLockedGiveTheReason) {
    using filesystem::DirectoryLock;
    using Outcome = DirectoryLock::Outcome;
    struct Case {
        char const* call;
        int error;
        Outcome outcome;
    };
    for (Case const& expected : {Case{"openat", EACCES, Outcome::taken}, // unreadable
                                 {"openat", EMFILE, Outcome::failed},
                                 {"flock", ENOLCK, Outcome::taken}, // no locks
                                 {"flock", EWOULDBLOCK, Outcome::timedOut},
                                 {"fstat", EIO, Outcome::failed},
                                 {"stat", EIO, Outcome::failed},
                                 {"stat", ENOENT, Outcome::timedOut}, // removed meanwhile
                                 {"stat", ENOTDIR, Outcome::timedOut}}) {
        DirectoryLock lock;
        auto outcome = Outcome::taken;
        int why = 0;
        EXPECT_TRUE(withFault({1, expected.error, expected.call, false}, [&] {
            outcome = lock.take(directory.string(), std::chrono::milliseconds(0));
            why = errno;
        })) << expected.call;
        EXPECT_EQ(expected.outcome, outcome) << expected.call << ": " << std::strerror(expected.error);
        EXPECT_EQ(expected.outcome == Outcome::taken, lock.isHeld());
        EXPECT_TRUE(outcome != Outcome::failed || why == expected.error) << std::strerror(why);
    }
}
