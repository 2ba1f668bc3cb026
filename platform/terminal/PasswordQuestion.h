#pragma once

#include "platform/PasswordQuestion.h"
#include "platform/terminal/Dialogue.h"

namespace qf::terminal {

/// The password question on the terminal, which takes three answers.
class PasswordQuestion final : public qf::PasswordQuestion {
public:
    /// `application` and `dialogue` must outlive this. A silent question is never asked.
    PasswordQuestion(Application& application, Dialogue& dialogue, bool isSilent)
        : application_(application), dialogue_(dialogue), isSilent_(isSilent) {}

    std::optional<GivenPassword> ask(const std::vector<Administrator>& administrators,
                                     int attempt) override;

private:
    std::optional<std::string> askFor(const Administrator& administrator, int attempt);

    Application& application_;
    Dialogue& dialogue_;
    const bool isSilent_;
};

} // namespace qf::terminal
