#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <fcntl.h>

#include <string>

namespace platform::native {

/// Opens the folders on the way to what stands at a path, piece by piece, for as long as what
/// remains of the path is more than a system call takes (PATH_MAX). Gives what remains, to be
/// looked up from the folder `start`, which stays none for a path that a system call takes as it
/// is. Links on the way are followed. Gives null, with errno, where the way cannot be gone.
const char* walkTowards(const std::string& path, FileDescriptor& start);

/// Makes a system call about what stands at a path of any length: `call(folder, rest)` is given the
/// descriptor of a folder, or AT_FDCWD, and the path from there. Gives what the call gives; -1,
/// with errno, where it could not be made.
template <class Call>
auto atPath(const std::string& path, Call call) -> decltype(call(AT_FDCWD, "")) {
    FileDescriptor start;
    const char* rest = walkTowards(path, start);
    return rest == nullptr ? -1 : call(start ? start.get() : AT_FDCWD, rest);
}

} // namespace platform::native
