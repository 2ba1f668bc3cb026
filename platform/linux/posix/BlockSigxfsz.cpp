#include "platform/linux/posix/BlockSigxfsz.h"

#include <csignal>

namespace qf::native {

void blockSigxfsz() {
    thread_local const bool held = [] {
        sigset_t signals{};
        sigemptyset(&signals);
        sigaddset(&signals, SIGXFSZ);
        return pthread_sigmask(SIG_BLOCK, &signals, nullptr) == 0;
    }();
    static_cast<void>(held);
}

} // namespace qf::native
