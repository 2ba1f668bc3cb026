#pragma once

#include "platform/linux/posix/FileDescriptor.h"
#include "platform/terminal/Application.h"
#include "platform/terminal/Screen.h"

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace qf::terminal {

/// Whether typed input is visible.
enum class Echo { yes, no };

/// A question, and the function to call with the line that answers it, or with nullopt if the input
/// has ended or the user has interrupted the program.
struct Question {
    std::string prompt;
    std::function<void(std::optional<std::string>)> answered;
    Echo echo = Echo::yes;
    /// Who may withdraw it.
    const void* owner = nullptr;
};

/// A dialogue with the user at standard input, one question after another.
///
/// While it lives, SIGINT, SIGTERM, SIGHUP and SIGQUIT, except those that the program ignores,
/// answer the open question instead of ending the process. Main thread only.
class Dialogue {
public:
    /// Must be called before any other thread runs, so that the signals reach no other. Both
    /// arguments must outlive this.
    Dialogue(Application& application, Screen& screen);
    ~Dialogue();
    Dialogue(const Dialogue&) = delete;
    Dialogue& operator=(const Dialogue&) = delete;
    Dialogue(Dialogue&&) = delete;
    Dialogue& operator=(Dialogue&&) = delete;

    /// Returns whether standard input is a terminal.
    static bool isTerminal();

    /// Asks a question once those before it are answered.
    void ask(Question question);

    /// Withdraws an owner's questions; they get no answer.
    void withdraw(const void* owner);

    /// Sets the function to call when a signal arrives while no question is open.
    void onInterruption(std::function<void()> interrupted) {
        interrupted_ = std::move(interrupted);
    }

    /// Returns whether a question is open.
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

} // namespace qf::terminal
