#pragma once

#include <csignal>
#include <initializer_list>

namespace qf::native {

/// Returns the signals that ask the program to end, except those that it ignores, as SIGHUP after
/// nohup: if such a signal were blocked, it would be taken all the same.
inline sigset_t endingSignals() {
    sigset_t asked{};
    ::sigemptyset(&asked);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        struct sigaction action {};
        if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
            ::sigaddset(&asked, signal);
        }
    }
    return asked;
}

} // namespace qf::native
