#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <fcntl.h>

#include <climits>
#include <cstddef>
#include <string>

namespace qf::native {

/// The rest of a path, to be looked up from a directory.
struct RestOfPath {
    FileDescriptor start; ///< Empty if system calls accept the whole path.
    const char* rest;     ///< In the path, or a literal.

    int directory() const { return start ? start.get() : AT_FDCWD; }
};

/// Opens the directories on the way to the item at a path, piece by piece, until the rest of the
/// path is short enough for a system call: below `limit`, in bytes. Links on the way are followed.
/// EINVAL for a path that contains a zero byte. The path must outlive the result.
SystemResult<RestOfPath> walkTowards(const std::string& path, std::size_t limit = PATH_MAX);

/// Makes a system call on the item at a path of any length: `call(directory, rest)` gets the
/// descriptor of a directory, or AT_FDCWD, and the path from there. Returns the result of the call,
/// -1 on failure.
template <class Call>
auto atPath(const std::string& path, Call call) -> SystemResult<decltype(call(AT_FDCWD, ""))> {
    const auto way = walkTowards(path);
    if (!way) {
        return Unexpected(way.error());
    }
    const auto returned = call(way->directory(), way->rest);
    if (returned == -1) {
        return Unexpected(Errno::last());
    }
    return returned;
}

/// Does the same for a system call that takes no descriptor, such as getxattr(): `call(name)` gets
/// the path or, if that is too long, a path through /proc to the same item.
template <class Call>
auto byName(const std::string& path, Call call) -> SystemResult<decltype(call(""))> {
    constexpr std::size_t longestStart = 32; // "/proc/self/fd/", a number and a slash
    const auto way = walkTowards(path, PATH_MAX - longestStart);
    if (!way) {
        return Unexpected(way.error());
    }
    const auto name = way->start
                          ? "/proc/self/fd/" + std::to_string(way->start.get()) + '/' + way->rest
                          : std::string(way->rest);
    const auto returned = call(name.c_str());
    if (returned == -1) {
        return Unexpected(Errno::last());
    }
    return returned;
}

/// Opens the item at a path of any length, so that no program inherits it.
SystemResult<FileDescriptor> openAtPath(const std::string& path, int flags);

} // namespace qf::native
