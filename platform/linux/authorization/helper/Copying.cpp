#include "platform/linux/authorization/helper/Copying.h"

#include "platform/linux/authorization/helper/Command.h"
#include "platform/linux/authorization/helper/Reader.h"
#include "platform/linux/authorization/helper/ToolStart.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <map>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace qf::native::helper {

namespace {

/// Throws why a system call failed, if it did.
void require(bool isDone) {
    if (!isDone) {
        throw startFailure(Errno::last());
    }
}

/// The very item for reading, whatever its name leads to by now.
FileDescriptor openForReading(const Item& item, const Reader& reader, int flags) {
    const Reader::Turn turn(reader, item);
    const std::string path = "/proc/self/fd/" + std::to_string(item.descriptor.get());
    FileDescriptor opened(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | flags));
    require(static_cast<bool>(opened));
    return opened;
}

/// The descriptors of an item that is copied and of its copy.
struct OpenCopy {
    int from;
    int to;
};

/// Copies the bytes that a file has now and leaves its holes out. A file may grow as fast as it is
/// read.
void copyBytes(OpenCopy copy, off_t size) {
    const auto [from, to] = copy;
    off_t offset = 0;
    while (offset < size && (offset = ::lseek(from, offset, SEEK_DATA)) >= 0) {
        const off_t hole = ::lseek(from, offset, SEEK_HOLE);
        require(hole > offset);
        const off_t end = std::min(hole, size);
        require(::lseek(to, offset, SEEK_SET) == offset);
        while (offset < end) {
            const auto rest = static_cast<std::size_t>(end - offset);
            const ssize_t copied = ::sendfile(to, from, &offset, rest);
            require(copied >= 0 || errno == EINTR);
            if (copied == 0) {
                return;
            }
        }
    }
    require(offset >= 0 || errno == ENXIO); // nothing but a hole is left
}

std::string attributeNames(int from) {
    std::string names(XATTR_LIST_MAX, '\0');
    const ssize_t size = ::flistxattr(from, names.data(), names.size());
    require(size >= 0 || errno == ENOTSUP);
    names.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return names;
}

/// Access lists must be kept: without one a file's rights mean something else. A user's attributes
/// must be kept unless the volume does not support them, or they are gone by now. What else is the
/// system's own, as a program's privileges, is left out.
void copyAttributes(OpenCopy copy) {
    const auto [from, to] = copy;
    std::string value(XATTR_SIZE_MAX, '\0');
    const std::string names = attributeNames(from);
    for (std::size_t begin = 0; begin < names.size(); begin = names.find('\0', begin) + 1) {
        const std::string name(names.c_str() + begin);
        const bool isAccessList = name.starts_with("system.posix_acl_");
        if (!isAccessList && !name.starts_with("user.")) {
            continue;
        }
        const ssize_t size = ::fgetxattr(from, name.c_str(), value.data(), value.size());
        const bool isCopied = size >= 0 && ::fsetxattr(to, name.c_str(), value.data(),
                                                       static_cast<std::size_t>(size), 0) == 0;
        const bool isDispensable = errno == EOPNOTSUPP || errno == ENODATA;
        require(isCopied || (isDispensable && !isAccessList));
    }
}

std::vector<std::string> namesOf(const FileDescriptor& directory) {
    const int listed = ::fcntl(directory.get(), F_DUPFD_CLOEXEC, 0);
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(listed < 0 ? nullptr : ::fdopendir(listed),
                                                     ::closedir);
    require(stream != nullptr);
    std::vector<std::string> names;
    const dirent* entry = nullptr;
    while ((errno = 0, entry = ::readdir(stream.get())) != nullptr) {
        const std::string_view name = static_cast<const char*>(entry->d_name);
        if (name != "." && name != "..") {
            names.emplace_back(name);
        }
    }
    require(errno == 0); // what is not listed would be taken away with the rest
    return names;
}

/// The same with a directory that is open.
void forEachName(const Item& directory, const FileDescriptor& opened, const Reader& reader,
                 const ChildVisitor& visit) {
    for (const auto& name : namesOf(opened)) {
        const auto child = [&] {
            const Reader::Turn turn(reader, directory);
            return openItem(opened.get(), name);
        }();
        requireSuccess(child);
        visit(*child, name);
    }
}

/// A name in a directory that none but root can enter.
struct Spot {
    int directory;
    std::string name;
    /// That directory's own; null for the one that is filled.
    std::shared_ptr<const Spot> parent = nullptr;
    int level = 1;
};

std::string pathFrom(const Item& top, const Spot& spot) {
    std::string path = spot.name;
    for (const Spot* above = spot.parent.get(); above != nullptr; above = above->parent.get()) {
        path.insert(0, above->name + "/");
    }
    return heldPath(top, path);
}

/// Whether a program on this file system gets its owner's rights. Elsewhere such programs may be
/// anybody's work.
bool keepsPrivileges(int item) {
    struct statvfs fileSystem {};
    require(::fstatvfs(item, &fileSystem) == 0);
    return (fileSystem.f_flag & ST_NOSUID) == 0;
}

/// Sets a limit to this, or to the most that the system lets this process have.
void liftLimit(__rlimit_resource resource, rlim_t most) {
    rlimit limit{};
    ::getrlimit(resource, &limit);
    limit = {most, std::max(most, limit.rlim_max)};
    if (::setrlimit(resource, &limit) != 0 && ::getrlimit(resource, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(resource, &limit);
    }
}

class Copier {
public:
    /// `target` is not to be met on the way: the directory that is being filled. What may be
    /// anybody's work though it is root's becomes the heir's.
    Copier(const Item& target, const Reader& reader, uid_t heir)
        : target_(target), reader_(reader), heir_(heir) {}

    void copy(const Item& item, const Spot& to) {
        struct stat status {};
        require(::fstat(item.descriptor.get(), &status) == 0);
        if (isCopiedAsLink(item, status, to)) {
            return;
        }
        switch (status.st_mode & S_IFMT) {
        case S_IFREG:
            copyFile(item, to);
            break;
        case S_IFDIR:
            copyDirectory(item, to);
            break;
        case S_IFLNK:
            copyLink(item, to);
            break;
        case S_IFIFO:
        case S_IFSOCK:
            require(::mknodat(to.directory, to.name.c_str(), status.st_mode & S_IFMT, 0) == 0);
            break;
        default:
            throw startFailure(Errno(EPERM));
        }
        settle(item, status, to);
    }

private:
    /// A file of several names stays one file.
    bool isCopiedAsLink(const Item& item, const struct stat& status, const Spot& to) {
        if (S_ISDIR(status.st_mode) || status.st_nlink == 1) {
            return false;
        }
        const auto [first, isNew] = copies_.emplace(item.identity(), to);
        return !isNew && ::linkat(AT_FDCWD, pathFrom(target_, first->second).c_str(), to.directory,
                                  to.name.c_str(), 0) == 0;
    }

    void copyFile(const Item& item, const Spot& to) const {
        const FileDescriptor made(::openat(to.directory, to.name.c_str(),
                                           O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                           S_IRUSR | S_IWUSR));
        require(static_cast<bool>(made));
        const auto from = copyContent(item, reader_, made);
        copyAttributes({from.get(), made.get()});
    }

    void copyDirectory(const Item& item, const Spot& to) {
        if (item.identity() == target_.identity()) {
            throw startFailure(Errno(EINVAL));
        }
        requireLevel(to.level);
        require(::mkdirat(to.directory, to.name.c_str(), S_IRWXU) == 0);
        const FileDescriptor made(::openat(to.directory, to.name.c_str(),
                                           O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        require(static_cast<bool>(made));
        const auto from = openForReading(item, reader_, O_DIRECTORY);
        const auto parent = std::make_shared<const Spot>(to);
        forEachName(item, from, reader_, [&](const Item& child, const std::string& name) {
            copy(child, {made.get(), name, parent, to.level + 1});
        });
        copyAttributes({from.get(), made.get()});
    }

    static void copyLink(const Item& item, const Spot& to) {
        std::array<char, PATH_MAX> target{};
        const ssize_t size =
            ::readlinkat(item.descriptor.get(), "", target.data(), target.size() - 1);
        require(size > 0 && ::symlinkat(target.data(), to.directory, to.name.c_str()) == 0);
    }

    /// By name, which in a closed directory leads to what has just been made.
    void settle(const Item& item, const struct stat& status, const Spot& to) const {
        constexpr mode_t privileges = S_ISUID | S_ISGID;
        const bool isTrusted = keepsPrivileges(item.descriptor.get());
        const mode_t rights = status.st_mode & 07777U;
        const mode_t kept = S_ISREG(status.st_mode) && !isTrusted ? rights & ~privileges : rights;
        const uid_t owner = status.st_uid == 0 && !isTrusted ? heir_ : status.st_uid;
        const std::array<timespec, 2> times{status.st_atim, status.st_mtim};
        require(::fchownat(to.directory, to.name.c_str(), owner, status.st_gid,
                           AT_SYMLINK_NOFOLLOW) == 0);
        require(S_ISLNK(status.st_mode) || ::fchmodat(to.directory, to.name.c_str(), kept, 0) == 0);
        require(::utimensat(to.directory, to.name.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) == 0);
    }

    const Item& target_;
    const Reader& reader_;
    const uid_t heir_;
    /// The first copy of each file of several names.
    std::map<FileId, Spot> copies_;
};

} // namespace

void copyItem(const Item& item, const Reader& reader, const Item& closedDirectory,
              const std::string& name, uid_t heir) {
    liftLimits();
    Copier(closedDirectory, reader, heir).copy(item, {closedDirectory.descriptor.get(), name});
}

FileDescriptor copyContent(const Item& file, const Reader& reader, const FileDescriptor& to) {
    auto from = openForReading(file, reader, O_NOCTTY);
    struct stat status {};
    require(::fstat(from.get(), &status) == 0);
    copyBytes({from.get(), to.get()}, status.st_size);
    require(::ftruncate(to.get(), status.st_size) == 0);
    return from;
}

void forEachIn(const Item& directory, const Reader& reader, const ChildVisitor& visit) {
    forEachName(directory, openForReading(directory, reader, O_DIRECTORY), reader, visit);
}

void settleLike(const Item& example, const Item& directory) {
    const int target = directory.descriptor.get();
    const std::string path = "/proc/self/fd/" + std::to_string(target);
    struct stat status {};
    require(::fstat(example.descriptor.get(), &status) == 0);
    const std::array<timespec, 2> times{status.st_atim, status.st_mtim};
    const bool isTrusted = status.st_uid != 0 || keepsPrivileges(example.descriptor.get());
    const uid_t owner = isTrusted ? status.st_uid : directory.status.stx_uid;
    require(::fchownat(target, "", owner, status.st_gid, AT_EMPTY_PATH) == 0);
    require(::chmod(path.c_str(), status.st_mode & 07777U) == 0);
    require(::utimensat(AT_FDCWD, path.c_str(), times.data(), 0) == 0);
}

void requireLevel(int level) {
    if (level > mostLevels) {
        throw startFailure(Errno(ENAMETOOLONG));
    }
}

void liftLimits() {
    liftLimit(RLIMIT_NOFILE, 1U << 16U);
    liftLimit(RLIMIT_STACK, 64U << 20U);
}

} // namespace qf::native::helper
