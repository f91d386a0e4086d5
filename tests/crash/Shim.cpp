// SPDX-License-Identifier: Apache-2.0
//
// A library to be preloaded. Intercepts a program's file calls: numbers those in one directory, records their effects,
// and kills the process at a call or makes a call fail.
//
// CRASH_DIRECTORY  the directory, without symbolic links in its path; if it is not set, nothing is intercepted
// CRASH_LOG        the log file; each call appends a line, see `Recording.h`
// CRASH_PLAN       "count"; "record", which also records the bytes; or an action at the Nth call: "kill-before N",
//                  "kill-after N", "stop-before N", "fail N ERROR" (also records the bytes), "fail-from N ERROR" or
//                  "short N"
// CRASH_THREAD     "main": ignores the calls of other threads, whose timing varies; and stops the clock for these
//                  threads, so that their delays never end
// CRASH_NO_LINKS   if set: as on a file system without hard links
//
// A call that is made to fail has no effect, except that `close` closes the file, as on Linux.
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <sstream>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

/** Makes a system call directly, because the functions for it are replaced here. */
template <class... Arguments>
long direct(long number, Arguments... arguments) {
    return ::syscall(number, arguments...);
}

std::string variable(char const* name) {
    char const* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

struct Plan {
    Plan() { std::istringstream(variable("CRASH_PLAN")) >> action >> number >> error; }

    /** Never destroyed, because the process may make calls until its end. */
    static Plan& get() {
        static Plan& plan = *new Plan;
        return plan;
    }

    [[nodiscard]] bool is(char const* what, long call) const { return call == number && action == what; }
    [[nodiscard]] bool wantsBytes() const { return action == "record" || action == "fail"; }
    [[nodiscard]] bool fails(long call) const {
        return is("fail", call) || (action == "fail-from" && call >= number);
    }

    std::string action;
    long number = 0;
    int error = 0;
    std::string directory = variable("CRASH_DIRECTORY");
    bool isOfMainThread = variable("CRASH_THREAD") == "main";
    bool hasLinks = std::getenv("CRASH_NO_LINKS") == nullptr;
    int log = static_cast<int>(direct(SYS_openat, AT_FDCWD, variable("CRASH_LOG").c_str(),
                                      O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600));
    std::atomic<long> calls = 0;
};

[[noreturn]] void die() {
    direct(SYS_kill, direct(SYS_getpid), SIGKILL);
    for (;;)
        direct(SYS_pause);
}

std::string linkAt(std::string const& path) {
    char target[PATH_MAX];
    long const length = direct(SYS_readlinkat, AT_FDCWD, path.c_str(), target, sizeof target);
    return length > 0 ? std::string(target, static_cast<std::size_t>(length)) : "";
}

/** The path of an open file, which is the same for duplicates of its descriptor. */
std::string pathOf(int file) {
    return file >= 0 ? linkAt("/proc/self/fd/" + std::to_string(file)) : "";
}

std::string pathAt(int base, char const* path) {
    if (path == nullptr || *path == '/')
        return path == nullptr ? "" : path;
    return (base == AT_FDCWD ? linkAt("/proc/self/cwd") : pathOf(base)) + '/' + path;
}

/** Whether the calls of this thread are ignored. */
bool isLeftAlone() {
    return Plan::get().isOfMainThread && direct(SYS_gettid) != direct(SYS_getpid);
}

bool isOurs(std::string const& path) {
    std::string const& directory = Plan::get().directory;
    if (isLeftAlone())
        return false;
    return !directory.empty() && path.compare(0, directory.size(), directory) == 0 &&
           (path.size() == directory.size() || path[directory.size()] == '/');
}

/** A path for the log: relative to the directory. */
std::string relative(std::string const& path) {
    return std::filesystem::path(path).lexically_normal().lexically_relative(Plan::get().directory).string();
}

std::string inodeOf(int file) {
    struct stat status = {};
    direct(SYS_fstat, file, &status);
    return std::to_string(status.st_ino);
}

bool isDirectory(int file) {
    struct stat status = {};
    return direct(SYS_fstat, file, &status) == 0 && S_ISDIR(status.st_mode);
}

std::string hexadecimal(void const* bytes, long count) {
    static char const digits[] = "0123456789abcdef";
    std::string text;
    for (long i = 0; i < count; ++i) {
        unsigned const byte = static_cast<unsigned char const*>(bytes)[i];
        (text += digits[byte >> 4U]) += digits[byte & 15U];
    }
    return text;
}

void note(long number, std::string const& text) {
    std::string const line = "call " + std::to_string(number) + ' ' + text + '\n';
    direct(SYS_write, Plan::get().log, line.data(), line.size());
}

std::string nothing(long /*result*/) {
    return "";
}

/**
 * Makes the next numbered call according to the plan. `perform` makes the call, short or in full; `describe` returns
 * the effect of a successful call on the disk, given its result.
 */
template <class Perform, class Describe>
long numbered(char const* name, Perform perform, Describe describe) {
    Plan& plan = Plan::get();
    long const number = ++plan.calls;
    if (plan.is("kill-before", number))
        die();
    if (plan.is("stop-before", number))
        direct(SYS_kill, direct(SYS_getpid), SIGSTOP);
    long result = -1;
    if (!plan.fails(number)) {
        result = perform(plan.is("short", number));
    } else {
        if (std::string(name) == "close")
            perform(false);
        errno = plan.error;
    }
    int const error = errno;
    note(number, name + (result < 0 ? std::string(" failed") : ' ' + describe(result)));
    if (plan.is("kill-after", number))
        die();
    errno = error;
    return result;
}

long openNumbered(int base, char const* path, int flags, ::mode_t mode) {
    auto const perform = [=](bool /*shortened*/) { return direct(SYS_openat, base, path, flags, mode); };
    if (!isOurs(pathAt(base, path)))
        return perform(false);
    struct stat status = {};
    bool const isNew = (flags & O_CREAT) != 0 && direct(SYS_newfstatat, base, path, &status, 0) != 0;
    return numbered("open", perform, [=](long result) {
        auto const file = static_cast<int>(result);
        if (isNew)
            return "create " + relative(pathOf(file)) + ' ' + inodeOf(file);
        return (flags & O_TRUNC) != 0 ? "truncate " + inodeOf(file) + " 0" : "";
    });
}

/** A call on an open file without effect on the disk. */
template <class Perform>
long onFile(char const* name, int file, Perform perform) {
    auto const whole = [=](bool /*shortened*/) { return perform(); };
    return isOurs(pathOf(file)) ? numbered(name, whole, nothing) : perform();
}

/** A call on a path without effect on the disk. */
template <class Perform>
long onPath(char const* name, int base, char const* path, Perform perform) {
    auto const whole = [=](bool /*shortened*/) { return perform(); };
    return isOurs(pathAt(base, path)) ? numbered(name, whole, nothing) : perform();
}

/** A call that transfers bytes; a short one transfers half of them, at least one. */
template <class Perform>
long readNumbered(int file, std::size_t count, Perform perform) {
    if (!isOurs(pathOf(file)))
        return perform(count);
    return numbered(
        "read", [=](bool shortened) { return perform(shortened ? (count + 1) / 2 : count); }, nothing);
}

template <class Perform>
long writeNumbered(int file, void const* bytes, std::size_t count, long position, Perform perform) {
    if (!isOurs(pathOf(file)))
        return perform(count);
    return numbered(
        "write", [=](bool shortened) { return perform(shortened ? (count + 1) / 2 : count); },
        [=](long moved) {
            return "write " + inodeOf(file) + ' ' + std::to_string(position) +
                   (Plan::get().wantsBytes() ? ' ' + hexadecimal(bytes, moved) : "");
        });
}

/** The position of the next `write`. */
long positionOf(int file) {
    struct stat status = {};
    if ((direct(SYS_fcntl, file, F_GETFL) & O_APPEND) != 0 && direct(SYS_fstat, file, &status) == 0)
        return status.st_size;
    return direct(SYS_lseek, file, 0, SEEK_CUR);
}

int syncNumbered(long call, int file) {
    if (!isOurs(pathOf(file)))
        return static_cast<int>(direct(call, file));
    return static_cast<int>(numbered(
        "sync", [=](bool /*shortened*/) { return direct(call, file); },
        [=](long /*result*/) {
            return isDirectory(file) ? "syncdir " + relative(pathOf(file)) : "sync " + inodeOf(file);
        }));
}

int syncfsNumbered(int file) {
    auto const perform = [=](bool /*shortened*/) { return direct(SYS_syncfs, file); };
    if (!isOurs(pathOf(file)))
        return static_cast<int>(perform(false));
    return static_cast<int>(numbered("sync", perform, [](long /*result*/) { return std::string("syncfs"); }));
}

int truncateNumbered(int file, long size) {
    auto const perform = [=](bool /*shortened*/) { return direct(SYS_ftruncate, file, size); };
    if (!isOurs(pathOf(file)))
        return static_cast<int>(perform(false));
    return static_cast<int>(numbered("truncate", perform, [=](long /*result*/) {
        return "truncate " + inodeOf(file) + ' ' + std::to_string(size);
    }));
}

/** `rename` or `link`, depending on `name`. */
template <class Perform>
int toNewName(char const* name, std::string const& from, std::string const& to, Perform perform) {
    if (!isOurs(from) && !isOurs(to))
        return static_cast<int>(perform(false));
    return static_cast<int>(numbered(name, perform, [&](long /*result*/) {
        return std::string(name) + ' ' + relative(from) + ' ' + relative(to);
    }));
}

int renameNumbered(int oldBase, char const* from, int newBase, char const* to, unsigned flags) {
    return toNewName("rename", pathAt(oldBase, from), pathAt(newBase, to), [=](bool /*shortened*/) {
        return direct(SYS_renameat2, oldBase, from, newBase, to, flags);
    });
}

int linkNumbered(int oldBase, char const* from, int newBase, char const* to, int flags) {
    return toNewName("link", pathAt(oldBase, from), pathAt(newBase, to), [=](bool /*shortened*/) {
        if (!Plan::get().hasLinks) {
            errno = EPERM;
            return -1L;
        }
        return direct(SYS_linkat, oldBase, from, newBase, to, flags);
    });
}

int unlinkNumbered(int base, char const* path, int flags) {
    auto const perform = [=](bool /*shortened*/) { return direct(SYS_unlinkat, base, path, flags); };
    std::string const full = pathAt(base, path);
    if (!isOurs(full))
        return static_cast<int>(perform(false));
    return static_cast<int>(numbered("unlink", perform, [&](long /*result*/) {
        return (flags & AT_REMOVEDIR) != 0 ? "" : "unlink " + relative(full);
    }));
}

int statNumbered(int base, char const* path, void* status, int flags) {
    return static_cast<int>(
        onPath("stat", base, path, [=] { return direct(SYS_newfstatat, base, path, status, flags); }));
}

int fstatNumbered(int file, void* status) {
    return static_cast<int>(onFile("stat", file, [=] { return direct(SYS_fstat, file, status); }));
}

::mode_t modeOf(int flags, std::va_list arguments) {
    return (flags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(arguments, ::mode_t) : 0;
}

} // namespace

extern "C" {

int open(char const* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    auto const mode = modeOf(flags, arguments);
    va_end(arguments);
    return static_cast<int>(openNumbered(AT_FDCWD, path, flags, mode));
}

int open64(char const* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    auto const mode = modeOf(flags, arguments);
    va_end(arguments);
    return static_cast<int>(openNumbered(AT_FDCWD, path, flags, mode));
}

int openat(int base, char const* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    auto const mode = modeOf(flags, arguments);
    va_end(arguments);
    return static_cast<int>(openNumbered(base, path, flags, mode));
}

int openat64(int base, char const* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    auto const mode = modeOf(flags, arguments);
    va_end(arguments);
    return static_cast<int>(openNumbered(base, path, flags, mode));
}

int close(int file) {
    return static_cast<int>(onFile("close", file, [=] { return direct(SYS_close, file); }));
}

::ssize_t read(int file, void* bytes, std::size_t count) {
    return readNumbered(file, count, [=](std::size_t some) { return direct(SYS_read, file, bytes, some); });
}

::ssize_t pread(int file, void* bytes, std::size_t count, ::off_t position) {
    return readNumbered(file, count,
                        [=](std::size_t some) { return direct(SYS_pread64, file, bytes, some, position); });
}

::ssize_t pread64(int file, void* bytes, std::size_t count, ::off64_t position) {
    return pread(file, bytes, count, position);
}

::ssize_t write(int file, void const* bytes, std::size_t count) {
    return writeNumbered(file, bytes, count, positionOf(file),
                         [=](std::size_t some) { return direct(SYS_write, file, bytes, some); });
}

::ssize_t pwrite(int file, void const* bytes, std::size_t count, ::off_t position) {
    return writeNumbered(file, bytes, count, position,
                         [=](std::size_t some) { return direct(SYS_pwrite64, file, bytes, some, position); });
}

::ssize_t pwrite64(int file, void const* bytes, std::size_t count, ::off64_t position) {
    return pwrite(file, bytes, count, position);
}

int fsync(int file) {
    return syncNumbered(SYS_fsync, file);
}

int fdatasync(int file) {
    return syncNumbered(SYS_fdatasync, file);
}

int syncfs(int file) noexcept {
    return syncfsNumbered(file);
}

int ftruncate(int file, ::off_t size) noexcept {
    return truncateNumbered(file, size);
}

int ftruncate64(int file, ::off64_t size) noexcept {
    return truncateNumbered(file, size);
}

int rename(char const* from, char const* to) noexcept {
    return renameNumbered(AT_FDCWD, from, AT_FDCWD, to, 0);
}

int renameat(int oldBase, char const* from, int newBase, char const* to) noexcept {
    return renameNumbered(oldBase, from, newBase, to, 0);
}

int renameat2(int oldBase, char const* from, int newBase, char const* to, unsigned flags) noexcept {
    return renameNumbered(oldBase, from, newBase, to, flags);
}

int link(char const* from, char const* to) noexcept {
    return linkNumbered(AT_FDCWD, from, AT_FDCWD, to, 0);
}

int linkat(int oldBase, char const* from, int newBase, char const* to, int flags) noexcept {
    return linkNumbered(oldBase, from, newBase, to, flags);
}

int unlink(char const* path) noexcept {
    return unlinkNumbered(AT_FDCWD, path, 0);
}

int unlinkat(int base, char const* path, int flags) noexcept {
    return unlinkNumbered(base, path, flags);
}

int clock_gettime(::clockid_t clock, ::timespec* time) noexcept {
    if (clock != CLOCK_MONOTONIC || !isLeftAlone())
        return static_cast<int>(direct(SYS_clock_gettime, clock, time));
    *time = {};
    return 0;
}

int mkdir(char const* path, ::mode_t mode) noexcept {
    return static_cast<int>(
        onPath("mkdir", AT_FDCWD, path, [=] { return direct(SYS_mkdirat, AT_FDCWD, path, mode); }));
}

int fchmod(int file, ::mode_t mode) noexcept {
    return static_cast<int>(onFile("chmod", file, [=] { return direct(SYS_fchmod, file, mode); }));
}

int fchown(int file, ::uid_t user, ::gid_t group) noexcept {
    return static_cast<int>(onFile("chown", file, [=] { return direct(SYS_fchown, file, user, group); }));
}

::ssize_t flistxattr(int file, char* names, std::size_t size) noexcept {
    return onFile("xattr", file, [=] { return direct(SYS_flistxattr, file, names, size); });
}

::ssize_t fgetxattr(int file, char const* name, void* value, std::size_t size) noexcept {
    return onFile("xattr", file, [=] { return direct(SYS_fgetxattr, file, name, value, size); });
}

int fsetxattr(int file, char const* name, void const* value, std::size_t size, int flags) noexcept {
    return static_cast<int>(
        onFile("xattr", file, [=] { return direct(SYS_fsetxattr, file, name, value, size, flags); }));
}

int fremovexattr(int file, char const* name) noexcept {
    return static_cast<int>(onFile("xattr", file, [=] { return direct(SYS_fremovexattr, file, name); }));
}

int flock(int file, int operation) noexcept {
    return static_cast<int>(onFile("flock", file, [=] { return direct(SYS_flock, file, operation); }));
}

int fcntl(int file, int command, ...) {
    std::va_list arguments;
    va_start(arguments, command);
    long const argument = va_arg(arguments, long);
    va_end(arguments);
    return static_cast<int>(
        onFile("fcntl", file, [=] { return direct(SYS_fcntl, file, command, argument); }));
}

int fcntl64(int file, int command, ...) {
    std::va_list arguments;
    va_start(arguments, command);
    long const argument = va_arg(arguments, long);
    va_end(arguments);
    return static_cast<int>(
        onFile("fcntl", file, [=] { return direct(SYS_fcntl, file, command, argument); }));
}

int stat(char const* path, struct stat* status) noexcept {
    return statNumbered(AT_FDCWD, path, status, 0);
}

int stat64(char const* path, struct stat64* status) noexcept {
    return statNumbered(AT_FDCWD, path, status, 0);
}

int fstat(int file, struct stat* status) noexcept {
    return fstatNumbered(file, status);
}

int fstat64(int file, struct stat64* status) noexcept {
    return fstatNumbered(file, status);
}

int fstatat(int base, char const* path, struct stat* status, int flags) noexcept {
    return statNumbered(base, path, status, flags);
}

int fstatat64(int base, char const* path, struct stat64* status, int flags) noexcept {
    return statNumbered(base, path, status, flags);
}

int faccessat(int base, char const* path, int mode, int flags) noexcept {
    return static_cast<int>(
        onPath("access", base, path, [=] { return direct(SYS_faccessat2, base, path, mode, flags); }));
}

::ssize_t readlinkat(int base, char const* path, char* target, std::size_t size) noexcept {
    return onPath("readlink", base, path, [=] { return direct(SYS_readlinkat, base, path, target, size); });
}

} // extern "C"
