#include "platform/linux/authorization/ScopedUndumpable.h"

#include <sys/prctl.h>

#include <mutex>

namespace qf::native {

namespace {

std::mutex scopesMutex;
int scopes = 0;
int formerDumpable = 0;

} // namespace

ScopedUndumpable::ScopedUndumpable() {
    const std::lock_guard lock(scopesMutex);
    if (scopes++ == 0) {
        formerDumpable = ::prctl(PR_GET_DUMPABLE);
        ::prctl(PR_SET_DUMPABLE, 0);
    }
}

ScopedUndumpable::~ScopedUndumpable() {
    const std::lock_guard lock(scopesMutex);
    if (--scopes == 0 && formerDumpable == 1) {
        ::prctl(PR_SET_DUMPABLE, 1);
    }
}

} // namespace qf::native
