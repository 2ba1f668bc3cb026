#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <fcntl.h>

#include <string>

namespace platform::native {

/// What remains of a path, to be looked up from a directory.
struct RestOfPath {
    FileDescriptor start; ///< Empty for the path that a system call takes as it is.
    const char* rest;     ///< In the path, or a literal.

    int directory() const { return start ? start.get() : AT_FDCWD; }
};

/// Opens the directories on the way to the item at a path, piece by piece, for as long as what
/// remains of the path is more than a system call takes (PATH_MAX). Links on the way are followed.
/// The path outlives what is returned.
SystemResult<RestOfPath> walkTowards(const std::string& path);

/// Makes a system call about the item at a path of any length: `call(directory, rest)` gets the
/// descriptor of a directory, or AT_FDCWD, and the path from there. Returns what the call returns,
/// -1 being its failure.
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
