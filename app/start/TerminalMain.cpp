#include "app/start/TerminalMain.h"

#include "app/cli/Report.h"
#include "app/cli/Run.h"
#include "app/start/Outlets.h"
#include "app/start/Recording.h"
#include "app/start/RunFollower.h"
#include "platform/Services.h"
#include "platform/foundation/Exception.h"
#include "platform/terminal/AlertPanel.h"
#include "platform/terminal/Interface.h"
#include "platform/terminal/LogConsole.h"
#include "platform/terminal/PasswordQuestion.h"

#include <iostream>

namespace start {

using cli::ExitStatus;
namespace terminal = platform::terminal;

namespace {

constexpr const char* unrecorded =
    "The run is not wholly recorded, so not all of it can be put back "
    "by this program: ";
constexpr const char* goesOn = "What has begun goes on to its end.";

/// The implementations of the ports. Threads may still call them after the event loop has ended.
struct UserInterface {
    terminal::Manner manner;
    terminal::Screen screen;
    terminal::Application application;
    terminal::Dialogue dialogue{application, screen};
    terminal::AlertPanels alertPanels{application, dialogue, manner};
    terminal::PasswordQuestion passwordQuestion;
    terminal::LogConsole logConsole;
    RunFollower follower;
    Recording recording;

    explicit UserInterface(const cli::Options& options)
        : manner(options.uninstall ? terminal::Manner::silent : terminal::Manner::asks),
          screen(platform::service<platform::Console>(), options.quiet),
          passwordQuestion(application, dialogue,
                           options.quiet || !terminal::Dialogue::isTerminal()) {
        platform::install<platform::Application>(application);
        platform::install<platform::AlertPanels>(alertPanels);
        platform::install<platform::PasswordQuestion>(passwordQuestion);
        platform::install<platform::Console>(logConsole);
        dialogue.onInterruption([this] { screen.paragraph(goesOn); });
    }
};

/// Shows a run's progress on the screen.
class ScreenOutput : public cli::TextOutput {
public:
    explicit ScreenOutput(terminal::Screen& screen) : screen_(screen) {}

    void paragraph(std::string_view text) override { screen_.paragraph(text); }
    void line(std::string_view text) override { screen_.line(text); }
    void gap() override { screen_.gap(); }

private:
    terminal::Screen& screen_;
};

} // namespace

ExitStatus listMain(const cli::Options& options, Inventory& inventory) {
    const auto removeShared = options.removeShared ? RemoveShared::yes : RemoveShared::no;
    const auto rows = inventory.take(removeShared, Sizes::yes);
    std::cout << (options.json ? cli::listAsJson(rows, removeShared)
                               : terminal::inUsersCharacters(cli::listAsText(rows)))
              << std::flush;
    if (!std::cout) {
        throw platform::Exception("QFListUnwritable", "cannot write the list");
    }
    return ExitStatus::complete;
}

ExitStatus terminalMain(const cli::Options& options, const std::string& interfaceFile,
                        Inventory& inventory, const Awake& awake) {
    static auto& user = *new UserInterface(options);
    ScreenOutput output(user.screen);
    cli::Run run(options, inventory, user.follower);
    run.prepare();
    terminal::Interface interface(interfaceFile, user.application, user.dialogue, user.manner);
    auto& mainWindow = interface.window(mainWindowOutlet);
    user.application.setWindows({&mainWindow});
    if (options.removeShared) {
        interface.tick(removeSharedOutlet);
    }
    user.follower.follow(run, user.recording.recorder, interface);
    awake(interface, user.follower);
    mainWindow.makeKeyAndOrderFront();
    user.application.run();
    const auto end = run.finish();
    tell(end, output);
    if (const auto& failure = user.recording.recorder.failure()) {
        output.paragraph(unrecorded + *failure);
    }
    run.writeReport();
    return end.status;
}

} // namespace start
