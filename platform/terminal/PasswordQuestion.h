#pragma once

#include "platform/PasswordQuestion.h"
#include "platform/terminal/Dialogue.h"

#include <atomic>

namespace platform::terminal {

/// The password question on the terminal. After no answer, or three wrong ones, the user is not
/// asked again.
class PasswordQuestion final : public platform::PasswordQuestion {
public:
    /// `application` and `dialogue` must outlive this. A silent question is never asked.
    PasswordQuestion(Application& application, Dialogue& dialogue, bool isSilent)
        : application_(application), dialogue_(dialogue), isOver_(isSilent) {}

    std::optional<GivenPassword> ask(const std::vector<Administrator>& administrators,
                                     int attempt) override;

private:
    std::optional<std::string> askFor(const Administrator& administrator, int attempt);

    Application& application_;
    Dialogue& dialogue_;
    std::atomic<bool> isOver_;
};

} // namespace platform::terminal
