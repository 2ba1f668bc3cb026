#include "platform/linux/authorization/SilencedErrors.h"

#include <fcntl.h>
#include <unistd.h>

namespace qf::native {

SilencedErrors::SilencedErrors()
    : former_(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
    const FileDescriptor null(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    if (former_ && null) {
        ::dup2(null.get(), STDERR_FILENO);
    }
}

SilencedErrors::~SilencedErrors() {
    if (former_) {
        ::dup2(former_.get(), STDERR_FILENO);
    }
}

} // namespace qf::native
