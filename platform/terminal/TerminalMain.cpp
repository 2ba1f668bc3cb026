#include "platform/terminal/TerminalMain.h"

#include "platform/Services.h"
#include "platform/foundation/Exception.h"
#include "platform/terminal/AlertPanel.h"
#include "platform/terminal/Interface.h"
#include "platform/terminal/LogConsole.h"
#include "platform/terminal/PasswordQuestion.h"
#include "platform/terminal/Report.h"
#include "platform/terminal/Run.h"

#include <iostream>

namespace platform::terminal {

namespace {

constexpr const char* mainWindowOutlet = "windowMain";
constexpr const char* removeSharedOutlet = "removeSharedCheck";

constexpr const char* goesOn = "What has begun goes on to its end.";

/// What stands behind the ports. Threads may still call it when the event loop has ended.
struct UserInterface {
    Manner manner;
    Screen screen;
    Application application;
    Dialogue dialogue{application, screen};
    AlertPanels alertPanels{application, dialogue, manner};
    PasswordQuestion passwordQuestion;
    LogConsole logConsole;
    Observation observation;

    explicit UserInterface(const Options& options)
        : manner(options.uninstall ? Manner::silent : Manner::asks),
          screen(service<platform::Console>(), options.quiet),
          passwordQuestion(application, dialogue, options.quiet || !Dialogue::isTerminal()) {
        install<platform::Application>(application);
        install<platform::AlertPanels>(alertPanels);
        install<platform::PasswordQuestion>(passwordQuestion);
        install<platform::Console>(logConsole);
        dialogue.onInterruption([this] { screen.paragraph(goesOn); });
    }
};

} // namespace

ExitStatus listMain(const Options& options, Inventory& inventory) {
    const auto sharedItems = options.removeShared ? SharedItems::go : SharedItems::stay;
    const auto rows = inventory.take(sharedItems, Sizes::yes);
    std::cout << (options.json ? listAsJson(rows, sharedItems)
                               : inUsersCharacters(listAsText(rows)))
              << std::flush;
    if (!std::cout) {
        throw Exception("QFListUnwritable", "cannot write the list");
    }
    return ExitStatus::complete;
}

ExitStatus terminalMain(const Options& options, const std::string& interfaceFile,
                        Inventory& inventory,
                        const std::function<void(platform::Interface&)>& awake) {
    static auto& user = *new UserInterface(options);
    Run run(options, inventory, user.observation, user.screen);
    run.prepare();
    Interface interface(interfaceFile, user.application, user.dialogue, user.manner);
    auto& mainWindow = interface.window(mainWindowOutlet);
    user.application.setMainWindow(&mainWindow);
    if (options.removeShared) {
        interface.tick(removeSharedOutlet);
    }
    interface.onConfirmation([&] {
        const bool goes = interface.checkBox(removeSharedOutlet).state() == 1;
        run.begin(goes ? SharedItems::go : SharedItems::stay);
    });
    awake(interface);
    mainWindow.makeKeyAndOrderFront();
    user.application.run();
    return run.finish();
}

} // namespace platform::terminal
