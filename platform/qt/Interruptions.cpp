#include "platform/qt/Interruptions.h"

#include "platform/foundation/Thread.h"

#include <pthread.h>

#include <csignal>
#include <utility>

namespace platform::qt {

namespace {

bool isIgnored(int signal) {
    struct sigaction action {};
    return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

/// Leaves out what is ignored, as SIGHUP is after nohup: if it were blocked, it would be taken.
sigset_t askingToEnd() {
    sigset_t asked{};
    ::sigemptyset(&asked);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        if (!isIgnored(signal)) {
            ::sigaddset(&asked, signal);
        }
    }
    return asked;
}

} // namespace

void onInterruption(std::function<void()> interrupted) {
    const auto asked = askingToEnd();
    ::pthread_sigmask(SIG_BLOCK, &asked, nullptr);
    detachNewThread([asked, interrupted = std::move(interrupted)] {
        for (int signal = 0; ::sigwait(&asked, &signal) == 0;) {
            interrupted();
        }
    });
}

} // namespace platform::qt
