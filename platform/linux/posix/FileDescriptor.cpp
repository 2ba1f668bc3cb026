#include "platform/linux/posix/FileDescriptor.h"

#include <fcntl.h>

namespace qf::native {

FileDescriptor aboveStandardStreams(FileDescriptor descriptor) {
    if (!descriptor || descriptor.get() > STDERR_FILENO) {
        return descriptor;
    }
    return FileDescriptor(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

SystemResult<FileDescriptor> openedAboveStandardStreams(int descriptor) {
    auto moved = aboveStandardStreams(FileDescriptor(descriptor));
    if (!moved) {
        return Unexpected(Errno::last());
    }
    return moved;
}

} // namespace qf::native
