#include "app/start/ApplicationMain.h"

#include "app/Explanations.h"
#include "app/start/TerminalMain.h"
#include "app/start/UndoMain.h"
#include "app/start/WindowMain.h"
#include "platform/Services.h"
#include "platform/SystemInformation.h"
#include "platform/UserAccount.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Text.h"
#include "platform/qt/Identity.h"
#include "platform/qt/InstanceLock.h"
#include "platform/qt/StartUpFailure.h"
#include "platform/terminal/Dialogue.h"
#include "platform/terminal/RunAgain.h"
#include "platform/terminal/Screen.h"

#include <cstdlib>
#include <iostream>
#include <utility>
#include <variant>

namespace start {

namespace {

constexpr unsigned superuser = 0;

using cli::ExitStatus;
namespace qt = platform::qt;
namespace terminal = platform::terminal;

/// Writes to standard error, in the user's encoding, why the program ends.
void reportFailure(const std::string& reason) {
    const auto line = qt::applicationName() + ": " + platform::text::printable(reason) + '\n';
    std::cerr << terminal::inUsersCharacters(line) << std::flush;
}

/// Replaces this process by one that asks on the terminal after all. That one ends if there is no
/// terminal.
[[noreturn]] void askOnTerminal(const std::string& program, const std::string& whyNoDisplay) {
    reportFailure("no display: " + whyNoDisplay);
    if (terminal::Dialogue::isTerminal()) {
        terminal::runAgain({program, cli::terminalOption});
    }
    std::_Exit(static_cast<int>(ExitStatus::nobodyToAsk));
}

/// Refuses to work as the superuser in another account's home, as after `sudo -E`. It would hand
/// that account's directories to the superuser, and delete job files whose jobs it cannot stop.
void refuseOtherHome() {
    auto& account = platform::service<platform::UserAccount>();
    const auto owner = account.otherOwnerOfHome();
    if (account.realUserId() == superuser && owner) {
        throw platform::Exception("QFOtherHome", "the home folder " + account.homeDirectory() +
                                                     " belongs to " + *owner + ": run this as " +
                                                     *owner +
                                                     ", or with sudo -H for root's own items");
    }
}

int run(int argc, char** argv, const cli::Options& options, const std::string& interfaceFile,
        Inventory& inventory, const Awake& awake) {
    const bool canOnlyUseTerminal = !qt::isDisplayNamed() && terminal::Dialogue::isTerminal();
    const bool undoes =
        (options.putBack && !options.window) || (options.empty && !options.uninstall);
    if (options.uninstall || options.terminal || undoes || canOnlyUseTerminal) {
        const qt::InstanceLock lock(qt::applicationName());
        if (lock.isHeldByAnother()) {
            throw platform::Exception(platform::exception_name::alreadyRunning,
                                      "it is already running");
        }
        return static_cast<int>(undoes ? undoMain(options)
                                       : terminalMain(options, interfaceFile, inventory, awake));
    }
    return static_cast<int>(
        windowMain(argc, argv, options, interfaceFile, inventory, awake,
                   [argv](const std::string& reason) { askOnTerminal(*argv, reason); }));
}

} // namespace

int applicationMain(int argc, char** argv, const std::string& interfaceFile, Inventory& inventory,
                    const Awake& awake) {
    qt::nameApplication(argv);
    const auto version =
        platform::service<platform::SystemInformation>().bundleVersion().value_or("");
    const auto parsed = cli::parseCommandLine(argc, argv, version);
    if (const auto* status = std::get_if<int>(&parsed)) {
        return *status;
    }
    const auto& options = std::get<cli::Options>(parsed);
    try {
        refuseOtherHome();
        if (options.listRuns || options.showLast || (options.putBack && options.list)) {
            return static_cast<int>(recordsMain(options));
        }
        return options.list ? static_cast<int>(listMain(options, inventory))
                            : run(argc, argv, options, interfaceFile, inventory, awake);
    } catch (const std::exception& exception) {
        reportFailure(explanationOf(exception));
        return static_cast<int>(ExitStatus::failed);
    }
}

} // namespace start
