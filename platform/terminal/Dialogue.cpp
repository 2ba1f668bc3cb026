#include "platform/terminal/Dialogue.h"

#include "platform/linux/posix/EndingSignals.h"

#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

namespace qf::terminal {

namespace {

/// Input of this length, in bytes, is taken as the answer even without a line end.
constexpr std::size_t longestLine = 4096;

} // namespace

/// Keeps the terminal from showing what is typed. Earlier input is dropped, because it was not
/// meant for the question.
class Dialogue::HiddenInput {
public:
    HiddenInput() {
        if (::tcgetattr(STDIN_FILENO, &former_) == 0) {
            termios hidden = former_;
            hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
            isHidden_ = ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden) == 0;
        }
    }
    ~HiddenInput() {
        if (isHidden_) {
            ::tcsetattr(STDIN_FILENO, TCSADRAIN, &former_);
        }
    }
    HiddenInput(const HiddenInput&) = delete;
    HiddenInput& operator=(const HiddenInput&) = delete;
    HiddenInput(HiddenInput&&) = delete;
    HiddenInput& operator=(HiddenInput&&) = delete;

private:
    termios former_{};
    bool isHidden_ = false;
};

Dialogue::Dialogue(Application& application, Screen& screen)
    : application_(application), screen_(screen) {
    const auto signals = native::endingSignals();
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    signals_ = native::FileDescriptor(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    application_.watch(signals_.get(), [this] { readSignal(); });
}

Dialogue::~Dialogue() {
    application_.unwatch(STDIN_FILENO);
    application_.unwatch(signals_.get());
}

bool Dialogue::isTerminal() {
    return ::isatty(STDIN_FILENO) == 1;
}

void Dialogue::ask(Question question) {
    questions_.push_back(std::move(question));
    if (!isOpen_) {
        begin();
    }
}

void Dialogue::withdraw(const void* owner) {
    const bool withdrawsOpen = isOpen_ && questions_.front().owner == owner;
    std::erase_if(questions_,
                  [owner](const Question& question) { return question.owner == owner; });
    if (withdrawsOpen) {
        close();
        screen_.gap();
        if (!questions_.empty()) {
            begin();
        }
    }
}

void Dialogue::begin() {
    isOpen_ = true;
    if (questions_.front().echo == Echo::no) {
        hidden_ = std::make_unique<HiddenInput>();
        if (isTerminal()) {
            input_.clear();
        }
    }
    screen_.prompt(questions_.front().prompt);
    if (!takeLine()) {
        application_.watch(STDIN_FILENO, [this] { readInput(); });
    }
}

void Dialogue::readInput() {
    std::array<char, longestLine> buffer{};
    const auto count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
        return;
    }
    if (count <= 0) {
        finish(std::nullopt);
        return;
    }
    input_.append(buffer.data(), static_cast<std::size_t>(count));
    ::explicit_bzero(buffer.data(), buffer.size());
    takeLine();
}

/// Answers the open question once a whole line has arrived.
bool Dialogue::takeLine() {
    const auto end = input_.find('\n');
    if (end == std::string::npos && input_.size() < longestLine) {
        return false;
    }
    auto line = input_.substr(0, end);
    if (questions_.front().echo == Echo::no) {
        ::explicit_bzero(input_.data(), line.size());
    }
    input_.erase(0, end == std::string::npos ? end : end + 1);
    finish(std::move(line));
    return true;
}

void Dialogue::finish(std::optional<std::string> answer) {
    const auto question = questions_.front();
    close();
    if (!answer || question.echo == Echo::no || !isTerminal()) {
        screen_.gap();
    }
    questions_.pop_front();
    question.answered(std::move(answer));
    if (!isOpen_ && !questions_.empty()) {
        begin();
    }
}

/// Stops reading for the open question.
void Dialogue::close() {
    isOpen_ = false;
    application_.unwatch(STDIN_FILENO);
    hidden_.reset();
}

void Dialogue::readSignal() {
    signalfd_siginfo signal{};
    if (::read(signals_.get(), &signal, sizeof signal) != sizeof signal) {
        return;
    }
    if (!questions_.empty()) {
        finish(std::nullopt);
    } else if (interrupted_) {
        interrupted_();
    }
}

} // namespace qf::terminal
