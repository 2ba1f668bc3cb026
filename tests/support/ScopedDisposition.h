#pragma once

#include <csignal>

/// Gives a signal a disposition for a scope; the destructor restores the former one.
class ScopedDisposition {
public:
    using Handler = void (*)(int);

    ScopedDisposition(int signal, Handler handler)
        : signal_(signal), former_(std::signal(signal, handler)) {}
    ~ScopedDisposition() { std::signal(signal_, former_); }
    ScopedDisposition(const ScopedDisposition&) = delete;
    ScopedDisposition& operator=(const ScopedDisposition&) = delete;
    ScopedDisposition(ScopedDisposition&&) = delete;
    ScopedDisposition& operator=(ScopedDisposition&&) = delete;

private:
    int signal_;
    Handler former_;
};

/// Has the signals end the process that ask it to, for a scope. A shell has the commands that it
/// runs in the background ignore two of them, and nohup one.
struct DefaultEndingSignals {
    ScopedDisposition interrupt{SIGINT, SIG_DFL};
    ScopedDisposition quit{SIGQUIT, SIG_DFL};
    ScopedDisposition hangUp{SIGHUP, SIG_DFL};
    ScopedDisposition terminate{SIGTERM, SIG_DFL};
};
