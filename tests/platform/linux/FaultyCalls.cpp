// A library that test programs are started with (LD_PRELOAD): it makes system calls fail, or kills
// the process at one, as the environment variable QF_FAULTS says:
//
//     CALL:COUNT:ERRNO[,...]     the COUNTth call named CALL ("any" counts all that are known here)
//                                fails with ERRNO
//     CALL:COUNT:EVENT[,...]     something happens just before that call, which then does its work:
//         kill        the process is killed
//         renumber    from now on statx() reports other inode numbers
//         age         from now on statx() reports changes of the status as 25 hours earlier
//         forget      the system forgets the inodes that nobody uses
//         append      a byte is appended to the file that the variable QF_CHANGED names
//         touch       that file gets another modification date
//         alter       pwrite(), from this call on, writes another first byte than it is told to
//         occupy      renameat2(), from this call on, finds every name taken
//
// Counting begins when the program calls qfBeginFaults(), or with the program itself if
// QF_FAULTS_FROM_START is set.

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

void renumber();
void age();
void forget();
void append();
void touch();
void alter();
void occupy();

struct Event {
    const char* name;
    void (*happen)();
};

constexpr std::array events{Event{"kill", [] { ::kill(::getpid(), SIGKILL); }},
                            Event{"renumber", renumber},
                            Event{"age", age},
                            Event{"forget", forget},
                            Event{"append", append},
                            Event{"touch", touch},
                            Event{"alter", alter},
                            Event{"occupy", occupy}};

struct Fault {
    std::string call;
    int count = 0;
    int number = 0;
    void (*happen)() = nullptr; ///< Instead of failing.
};

std::vector<Fault>& faults() {
    static std::vector<Fault> all;
    return all;
}

bool begun = false;
int fired = 0;
bool renumbers = false;
bool ages = false;
bool alters = false;
bool occupies = false;

void renumber() {
    renumbers = true;
}

void age() {
    ages = true;
}

void alter() {
    alters = true;
}

void occupy() {
    occupies = true;
}

void forget() {
    std::ofstream("/proc/sys/vm/drop_caches") << 2;
}

void append() {
    std::ofstream(std::getenv("QF_CHANGED"), std::ios::app) << 'x';
}

void touch() {
    ::utimes(std::getenv("QF_CHANGED"), nullptr);
}

std::vector<Fault> readFaults() {
    std::vector<Fault> all;
    const char* variable = std::getenv("QF_FAULTS");
    std::istringstream text(variable == nullptr ? "" : variable);
    for (std::string item; std::getline(text, item, ',');) {
        std::istringstream fields(item);
        Fault fault;
        std::string count;
        std::string number;
        std::getline(fields, fault.call, ':');
        std::getline(fields, count, ':');
        std::getline(fields, number, ':');
        fault.count = std::atoi(count.c_str());
        fault.number = std::atoi(number.c_str());
        for (const auto& event : events) {
            fault.happen = number == event.name ? event.happen : fault.happen;
        }
        all.push_back(fault);
    }
    return all;
}

/// Returns whether this call must fail, and if so sets errno.
bool fails(const char* call) {
    if (!begun) {
        return false;
    }
    for (auto& fault : faults()) {
        if ((fault.call == call || fault.call == "any") && --fault.count == 0) {
            ++fired;
            if (fault.happen != nullptr) {
                fault.happen();
                return false;
            }
            errno = fault.number;
            return true;
        }
    }
    return false;
}

template <typename Function>
Function next(Function /*type*/, const char* name) {
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

void qfBeginFaults() {
    faults() = readFaults();
    begun = true;
}

[[gnu::constructor]] void beginWhereAsked() {
    if (std::getenv("QF_FAULTS_FROM_START") != nullptr) {
        qfBeginFaults();
    }
}

/// Returns the number of faults so far.
int qfEndFaults() {
    begun = false;
    return fired;
}

// One definition per call, with its name and its failure value.
// NOLINTBEGIN(bugprone-macro-parentheses): a type cannot be parenthesized.
#define QF_CALL(RESULT, NAME, PARAMETERS, ARGUMENTS, FAILURE)                                      \
    RESULT NAME PARAMETERS {                                                                       \
        static const auto real = next(&::NAME, #NAME);                                             \
        return fails(#NAME) ? FAILURE : real ARGUMENTS;                                            \
    }
// NOLINTEND(bugprone-macro-parentheses)

QF_CALL(int, rename, (const char* a, const char* b), (a, b), -1)
QF_CALL(int, renameat, (int a, const char* b, int c, const char* d), (a, b, c, d), -1)
QF_CALL(int, linkat, (int a, const char* b, int c, const char* d, int e), (a, b, c, d, e), -1)
QF_CALL(int, unlinkat, (int a, const char* b, int c), (a, b, c), -1)
QF_CALL(int, mkdirat, (int a, const char* b, mode_t c), (a, b, c), -1)
QF_CALL(int, symlinkat, (const char* a, int b, const char* c), (a, b, c), -1)
QF_CALL(int, mknodat, (int a, const char* b, mode_t c, dev_t d), (a, b, c, d), -1)
QF_CALL(ssize_t, readlinkat, (int a, const char* b, char* c, size_t d), (a, b, c, d), -1)
QF_CALL(ssize_t, pread, (int a, void* b, size_t c, off_t d), (a, b, c, d), -1)
QF_CALL(ssize_t, write, (int a, const void* b, size_t c), (a, b, c), -1)
QF_CALL(ssize_t, copy_file_range, (int a, off64_t* b, int c, off64_t* d, size_t e, unsigned f),
        (a, b, c, d, e, f), -1)
QF_CALL(int, ftruncate, (int a, off_t b), (a, b), -1)
QF_CALL(int, fsync, (int a), (a), -1)
QF_CALL(int, fdatasync, (int a), (a), -1)
QF_CALL(int, syncfs, (int a), (a), -1)
QF_CALL(int, fchown, (int a, uid_t b, gid_t c), (a, b, c), -1)
QF_CALL(int, fchownat, (int a, const char* b, uid_t c, gid_t d, int e), (a, b, c, d, e), -1)
QF_CALL(int, fchmod, (int a, mode_t b), (a, b), -1)
QF_CALL(int, fchmodat, (int a, const char* b, mode_t c, int d), (a, b, c, d), -1)
QF_CALL(int, sync_file_range, (int a, off64_t b, off64_t c, unsigned d), (a, b, c, d), -1)
QF_CALL(int, futimens, (int a, const timespec b[2]), (a, b), -1)
QF_CALL(int, utimensat, (int a, const char* b, const timespec c[2], int d), (a, b, c, d), -1)
QF_CALL(int, faccessat, (int a, const char* b, int c, int d), (a, b, c, d), -1)
QF_CALL(ssize_t, flistxattr, (int a, char* b, size_t c), (a, b, c), -1)
QF_CALL(ssize_t, fgetxattr, (int a, const char* b, void* c, size_t d), (a, b, c, d), -1)
QF_CALL(int, fsetxattr, (int a, const char* b, const void* c, size_t d, int e), (a, b, c, d, e), -1)
QF_CALL(int, flock, (int a, int b), (a, b), -1)
QF_CALL(dirent*, readdir, (DIR * a), (a), nullptr)
QF_CALL(DIR*, fdopendir, (int a), (a), nullptr)

int renameat2(int from, const char* name, int to, const char* newName, unsigned flags) {
    static const auto real = next(&::renameat2, "renameat2");
    if (fails("renameat2")) {
        return -1;
    }
    if (occupies) {
        errno = EEXIST;
        return -1;
    }
    return real(from, name, to, newName, flags);
}

ssize_t pwrite(int file, const void* bytes, size_t size, off_t offset) {
    static const auto real = next(&::pwrite, "pwrite");
    if (fails("pwrite")) {
        return -1;
    }
    if (!alters || size == 0) {
        return real(file, bytes, size, offset);
    }
    std::string altered(static_cast<const char*>(bytes), size);
    altered.front() = static_cast<char>(altered.front() ^ 1);
    return real(file, altered.data(), size, offset);
}

int statx(int directory, const char* name, int flags, unsigned mask, struct statx* status) {
    static const auto real = next(&::statx, "statx");
    const int returned = fails("statx") ? -1 : real(directory, name, flags, mask, status);
    if (returned == 0 && renumbers) {
        constexpr std::uint64_t distance = 1'000'000'000;
        status->stx_ino += distance;
    }
    if (returned == 0 && ages) {
        constexpr std::int64_t overADay = 25L * 60 * 60;
        status->stx_ctime.tv_sec -= overADay;
    }
    return returned;
}

int ioctl(int file, unsigned long request, ...) noexcept {
    static const auto real =
        reinterpret_cast<int (*)(int, unsigned long, void*)>(::dlsym(RTLD_NEXT, "ioctl"));
    std::va_list more;
    va_start(more, request);
    void* argument = va_arg(more, void*);
    va_end(more);
    return fails("ioctl") ? -1 : real(file, request, argument);
}

int openat(int directory, const char* name, int flags, ...) {
    static const auto real =
        reinterpret_cast<int (*)(int, const char*, int, mode_t)>(::dlsym(RTLD_NEXT, "openat"));
    std::va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return fails("openat") ? -1 : real(directory, name, flags, mode);
}

} // extern "C"
