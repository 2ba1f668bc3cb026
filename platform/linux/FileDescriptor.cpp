#include "platform/linux/FileDescriptor.h"

#include <cerrno>

namespace platform::native {

void FileDescriptor::reset() {
    if (descriptor_ >= 0) {
        const int error = errno;
        ::close(release());
        errno = error;
    }
}

} // namespace platform::native
