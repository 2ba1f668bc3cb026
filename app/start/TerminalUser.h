#pragma once

#include "app/cli/CommandLine.h"
#include "app/cli/TextOutput.h"
#include "platform/Services.h"
#include "platform/terminal/AlertPanel.h"
#include "platform/terminal/Application.h"
#include "platform/terminal/Dialogue.h"
#include "platform/terminal/LogConsole.h"
#include "platform/terminal/PasswordQuestion.h"
#include "platform/terminal/Screen.h"

#include <string>
#include <string_view>

namespace start {

/// The implementations of the ports. Threads may still call them after the event loop has ended.
struct TerminalUser {
    qf::terminal::Manner manner;
    qf::terminal::Screen screen;
    qf::terminal::Application application;
    qf::terminal::Dialogue dialogue{application, screen};
    qf::terminal::AlertPanels alertPanels{application, dialogue, manner};
    qf::terminal::PasswordQuestion passwordQuestion;
    qf::terminal::LogConsole logConsole;

    TerminalUser(const cli::Options& options, qf::terminal::Manner how)
        : manner(how), screen(qf::service<qf::Console>(), options.quiet),
          passwordQuestion(application, dialogue,
                           options.quiet || !qf::terminal::Dialogue::isTerminal()) {
        qf::install<qf::Application>(application);
        qf::install<qf::AlertPanels>(alertPanels);
        qf::install<qf::PasswordQuestion>(passwordQuestion);
        qf::install<qf::Console>(logConsole);
        dialogue.onInterruption([this] { screen.paragraph("What has begun goes on to its end."); });
    }
};

/// Shows a run's progress on the screen.
class ScreenOutput : public cli::TextOutput {
public:
    explicit ScreenOutput(qf::terminal::Screen& screen) : screen_(screen) {}

    void paragraph(std::string_view text) override { screen_.paragraph(text); }
    void line(std::string_view text) override { screen_.line(text); }
    void gap() override { screen_.gap(); }

private:
    qf::terminal::Screen& screen_;
};

/// Writes text on standard output. Throws qf::Exception "QFListUnwritable" if not all of it
/// could be written.
void print(const std::string& text);

} // namespace start
