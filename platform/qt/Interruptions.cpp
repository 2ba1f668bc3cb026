#include "platform/qt/Interruptions.h"

#include "platform/foundation/Thread.h"
#include "platform/linux/posix/EndingSignals.h"

#include <pthread.h>

#include <csignal>
#include <utility>

namespace qf::qt {

void onInterruption(std::function<void()> interrupted) {
    const auto asked = native::endingSignals();
    ::pthread_sigmask(SIG_BLOCK, &asked, nullptr);
    detachNewThread([asked, interrupted = std::move(interrupted)] {
        for (int signal = 0; ::sigwait(&asked, &signal) == 0;) {
            interrupted();
        }
    });
}

} // namespace qf::qt
