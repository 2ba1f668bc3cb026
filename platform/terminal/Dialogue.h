#pragma once

#include "platform/linux/posix/FileDescriptor.h"
#include "platform/terminal/Application.h"
#include "platform/terminal/Screen.h"

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace platform::terminal {

/// Whether what a person types is seen.
enum class Echo { yes, no };

/// A question, and what is done with the line that answers it; nothing when the input has ended or
/// the person has interrupted the program instead.
struct Question {
    std::string prompt;
    std::function<void(std::optional<std::string>)> answered;
    Echo echo = Echo::yes;
    /// Who may withdraw it.
    const void* owner = nullptr;
};

/// Asks the person at standard input, one question after another.
///
/// While it lives, the signals that would interrupt or end the process answer the open question
/// instead: SIGINT, SIGTERM, SIGHUP and SIGQUIT. Main thread only.
class Dialogue {
public:
    /// Made before any other thread runs, so that the signals reach no other. Both outlive this.
    Dialogue(Application& application, Screen& screen);
    ~Dialogue();
    Dialogue(const Dialogue&) = delete;
    Dialogue& operator=(const Dialogue&) = delete;
    Dialogue(Dialogue&&) = delete;
    Dialogue& operator=(Dialogue&&) = delete;

    /// Whether standard input is a terminal.
    static bool isTerminal();

    /// Asks when the questions before it are answered.
    void ask(Question question);

    /// Takes an owner's questions back; they get no answer any more.
    void withdraw(const void* owner);

    /// Has `interrupted` called when a signal comes while no question is open.
    void onInterruption(std::function<void()> interrupted) {
        interrupted_ = std::move(interrupted);
    }

    /// Whether a question is open.
    bool isAsking() const { return !questions_.empty(); }

    Screen& screen() { return screen_; }

private:
    class HiddenInput;

    void begin();
    void close();
    void finish(std::optional<std::string> answer);
    void readInput();
    void readSignal();
    bool takeLine();

    Application& application_;
    Screen& screen_;
    native::FileDescriptor signals_;
    std::deque<Question> questions_;
    bool isOpen_ = false; // the first of them
    std::unique_ptr<HiddenInput> hidden_;
    std::string input_;
    std::function<void()> interrupted_;
};

} // namespace platform::terminal
