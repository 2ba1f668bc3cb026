#include "platform/linux/authorization/ProcessSecrecy.h"

#include <sys/prctl.h>

#include <mutex>

namespace platform::native {

namespace {

std::mutex secrecyMutex;
int scopes = 0;
int formerDumpable = 0;

} // namespace

ProcessSecrecy::ProcessSecrecy() {
    const std::lock_guard lock(secrecyMutex);
    if (scopes++ == 0) {
        formerDumpable = ::prctl(PR_GET_DUMPABLE);
        ::prctl(PR_SET_DUMPABLE, 0);
    }
}

ProcessSecrecy::~ProcessSecrecy() {
    const std::lock_guard lock(secrecyMutex);
    if (--scopes == 0 && formerDumpable == 1) {
        ::prctl(PR_SET_DUMPABLE, 1);
    }
}

} // namespace platform::native
