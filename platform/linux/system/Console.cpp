#include "platform/linux/system/Console.h"

#include "platform/foundation/Text.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <ctime>
#include <poll.h>
#include <string>
#include <syslog.h>
#include <unistd.h>

namespace qf::native {

namespace {

/// Keeps this thread's writes, to a pipe without a reader or to a file at its size limit, from
/// raising a signal that would end the process.
class HeldSignals {
public:
    HeldSignals() {
        sigemptyset(&signals_);
        sigaddset(&signals_, SIGPIPE);
        sigaddset(&signals_, SIGXFSZ);
        sigset_t pending{};
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1 || sigismember(&pending, SIGXFSZ) == 1;
        pthread_sigmask(SIG_BLOCK, &signals_, &former_);
    }
    ~HeldSignals() {
        const timespec atOnce{};
        while (!wasPending_ && sigtimedwait(&signals_, nullptr, &atOnce) > 0) {
        }
        pthread_sigmask(SIG_SETMASK, &former_, nullptr);
    }
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;
    HeldSignals(HeldSignals&&) = delete;
    HeldSignals& operator=(HeldSignals&&) = delete;

private:
    sigset_t signals_{};
    sigset_t former_{};
    bool wasPending_ = false;
};

/// Waits until a non-blocking stream accepts more.
bool waitForRoom(int descriptor) {
    pollfd stream{descriptor, POLLOUT, 0};
    return ::poll(&stream, 1, -1) >= 0 || errno == EINTR;
}

void write(int descriptor, std::string_view text) {
    const HeldSignals held;
    while (!text.empty()) {
        const auto written = ::write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            if (!waitForRoom(descriptor)) {
                return;
            }
        } else if (errno != EINTR) {
            return;
        }
    }
}

/// Text for a terminal must not control it: a file name may contain sequences that move the cursor,
/// or worse. Line ends and tabs are the program's own.
std::string harmless(std::string_view text) {
    constexpr std::string_view own = "\n\r\t";
    std::string result;
    while (!text.empty()) {
        const auto end = std::min(text.find_first_of(own), text.size());
        result += text::printable(text.substr(0, end));
        result += text.substr(end, 1);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return result;
}

} // namespace

void Console::systemLog(std::string_view message) {
    const auto line = std::string(message) + '\n';
    const std::lock_guard lock(mutex_);
    write(STDERR_FILENO, line);
    const auto length = static_cast<int>(std::min<std::size_t>(message.size(), INT_MAX));
    ::syslog(LOG_USER | LOG_NOTICE, "%.*s", length, message.data());
}

void Console::print(std::string_view text) {
    const std::lock_guard lock(mutex_);
    if (::isatty(STDOUT_FILENO) == 1) {
        write(STDOUT_FILENO, harmless(text));
    } else {
        write(STDOUT_FILENO, text);
    }
}

} // namespace qf::native
