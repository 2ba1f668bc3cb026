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
    platform::terminal::Manner manner;
    platform::terminal::Screen screen;
    platform::terminal::Application application;
    platform::terminal::Dialogue dialogue{application, screen};
    platform::terminal::AlertPanels alertPanels{application, dialogue, manner};
    platform::terminal::PasswordQuestion passwordQuestion;
    platform::terminal::LogConsole logConsole;

    TerminalUser(const cli::Options& options, platform::terminal::Manner how)
        : manner(how), screen(platform::service<platform::Console>(), options.quiet),
          passwordQuestion(application, dialogue,
                           options.quiet || !platform::terminal::Dialogue::isTerminal()) {
        platform::install<platform::Application>(application);
        platform::install<platform::AlertPanels>(alertPanels);
        platform::install<platform::PasswordQuestion>(passwordQuestion);
        platform::install<platform::Console>(logConsole);
        dialogue.onInterruption([this] { screen.paragraph("What has begun goes on to its end."); });
    }
};

/// Shows a run's progress on the screen.
class ScreenOutput : public cli::TextOutput {
public:
    explicit ScreenOutput(platform::terminal::Screen& screen) : screen_(screen) {}

    void paragraph(std::string_view text) override { screen_.paragraph(text); }
    void line(std::string_view text) override { screen_.line(text); }
    void gap() override { screen_.gap(); }

private:
    platform::terminal::Screen& screen_;
};

/// Writes text on standard output. Throws platform::Exception "QFListUnwritable" if not all of it
/// could be written.
void print(const std::string& text);

} // namespace start
