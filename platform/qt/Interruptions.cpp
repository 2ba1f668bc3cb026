#include "platform/qt/Interruptions.h"

#include "platform/foundation/Thread.h"

#include <pthread.h>

#include <csignal>
#include <utility>

namespace platform::qt {

namespace {

sigset_t askingToEnd() {
    sigset_t asked{};
    ::sigemptyset(&asked);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        ::sigaddset(&asked, signal);
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
