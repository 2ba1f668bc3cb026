#pragma once

#include "platform/Services.h"
#include "platform/terminal/Dialogue.h"
#include "tests/platform/terminal/PipedInput.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/ScopedDisposition.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <functional>

/// Restores the thread's signal mask at the end of a scope.
class KeptSignalMask {
public:
    KeptSignalMask() { ::pthread_sigmask(SIG_SETMASK, nullptr, &former_); }
    ~KeptSignalMask() { ::pthread_sigmask(SIG_SETMASK, &former_, nullptr); }
    KeptSignalMask(const KeptSignalMask&) = delete;
    KeptSignalMask& operator=(const KeptSignalMask&) = delete;
    KeptSignalMask(KeptSignalMask&&) = delete;
    KeptSignalMask& operator=(KeptSignalMask&&) = delete;

private:
    sigset_t former_{};
};

/// A dialogue that reads from a pipe, and records its output.
class TerminalTest : public ::testing::Test {
protected:
    explicit TerminalTest(ScopedDisposition::Handler hangUp = SIG_DFL)
        : endingSignals{.hangUp{SIGHUP, hangUp}} {}

    /// Runs the event loop until a condition is true.
    void runUntil(const std::function<bool()>& holds) {
        using Clock = std::chrono::steady_clock;
        const auto deadline = Clock::now() + std::chrono::minutes(1);
        while (!holds()) {
            ASSERT_LT(Clock::now(), deadline);
            application.handleNextEvent(std::chrono::milliseconds(100));
        }
    }

    /// Runs the event loop until all pending work is done.
    void settle() {
        bool isDone = false;
        application.performOnMainThread([&isDone] { isDone = true; }, qf::Wait::no);
        runUntil([&isDone] { return isDone; });
    }

    DefaultEndingSignals endingSignals; // Before the dialogue, which asks for them.
    KeptSignalMask signalMask; // The first: the dialogue, which blocks signals, must be gone.
    PipedInput input;
    RecordingConsole console;
    qf::ScopedService<qf::Console> consoleScope{console};
    qf::terminal::Application application;
    qf::terminal::Screen screen{console, false};
    qf::terminal::Dialogue dialogue{application, screen};
};
