#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <fcntl.h>

#include <string>

namespace platform::native {

/// The rest of a path, to be looked up from a directory.
struct RestOfPath {
    FileDescriptor start; ///< Empty if system calls accept the whole path.
    const char* rest;     ///< In the path, or a literal.

    int directory() const { return start ? start.get() : AT_FDCWD; }
};

/// Opens the directories on the way to the item at a path, piece by piece, until the rest of the
/// path is short enough for a system call (PATH_MAX). Links on the way are followed. The path must
/// outlive the result.
SystemResult<RestOfPath> walkTowards(const std::string& path);

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

/// Opens the item at a path of any length.
SystemResult<FileDescriptor> openAtPath(const std::string& path, int flags);

} // namespace platform::native
