#include "app/start/ApplicationMain.h"

#include "app/Explanations.h"
#include "app/start/AllUsersMain.h"
#include "app/start/TerminalMain.h"
#include "app/start/UndoMain.h"
#include "app/start/WindowModule.h"
#include "platform/InstanceLock.h"
#include "platform/Modules.h"
#include "platform/Services.h"
#include "platform/SystemInformation.h"
#include "platform/UserAccount.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Text.h"
#include "platform/support/ApplicationName.h"
#include "platform/support/NamedDisplay.h"
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
constexpr const char* windowModule = "windows-";
constexpr const char* noWindows = "windows require kelvane-uninstaller-desktop: ";

using cli::ExitStatus;
namespace terminal = qf::terminal;

/// Writes to standard error, in the user's encoding, why the program ends.
void reportFailure(const std::string& reason) {
    const auto line = qf::applicationName() + ": " + qf::text::printable(reason) + '\n';
    std::cerr << terminal::inUsersCharacters(line) << std::flush;
}

/// Replaces this process by one that does the same on the terminal after all. That one ends if
/// there is no terminal.
[[noreturn]] void useTerminal(const std::string& program, const cli::Options& options,
                              const std::string& whyNoDisplay) {
    reportFailure("no display: " + whyNoDisplay);
    if (terminal::Dialogue::isTerminal()) {
        terminal::runAgain({program, options.putBack ? cli::putBackOption : cli::terminalOption});
    }
    std::_Exit(static_cast<int>(ExitStatus::nobodyToAsk));
}

/// Loads the module of the windows, which is of the program's own version, and returns its
/// function. Uses the terminal if that fails.
WindowMain& loadedWindowMain(const std::string& program, const cli::Options& options) {
    const auto version = qf::service<qf::SystemInformation>().bundleVersion().value_or("");
    const auto function = qf::service<qf::Modules>().function(windowModule + version);
    if (!function) {
        useTerminal(program, options, noWindows + function.error().localizedDescription);
    }
    return *reinterpret_cast<WindowMain*>(*function);
}

/// Refuses to work as the superuser in another account's home, as after `sudo -E`. It would hand
/// that account's directories to the superuser, and delete job files whose jobs it cannot stop.
void refuseOtherHome() {
    auto& account = qf::service<qf::UserAccount>();
    const auto owner = account.otherOwnerOfHome();
    if (account.realUserId() == superuser && owner) {
        throw qf::Exception("QFOtherHome", "the home folder " + account.homeDirectory() +
                                               " belongs to " + *owner + ": run this as " + *owner +
                                               ", with sudo -H for root's own items, or " +
                                               "with --uninstall --all-users for all");
    }
}

ExitStatus allUsers(const cli::Options& options) {
    if (qf::service<qf::UserAccount>().realUserId() != superuser) {
        reportFailure("--all-users is for root");
        return ExitStatus::usage;
    }
    return allUsersMain(options);
}

int run(int argc, char** argv, const cli::Options& options, const qf::InterfaceFile& interfaceFile,
        Inventory& inventory, const Awake& awake) {
    const bool canOnlyUseTerminal = !qf::isDisplayNamed() && terminal::Dialogue::isTerminal();
    const bool undoes = (options.putBack && (!options.window || canOnlyUseTerminal)) ||
                        (options.empty && !options.uninstall);
    if (options.uninstall || options.terminal || undoes || canOnlyUseTerminal) {
        const qf::InstanceLock lock(qf::applicationName());
        if (lock.isHeldByAnother()) {
            throw qf::Exception(qf::exception_name::alreadyRunning, "it is already running");
        }
        return static_cast<int>(undoes ? undoMain(options)
                                       : terminalMain(options, interfaceFile, inventory, awake));
    }
    if (!qf::isDisplayNamed()) {
        useTerminal(*argv, options, qf::noDisplayNamed);
    }
    return loadedWindowMain(*argv, options)(
        argc, argv, options, interfaceFile, inventory, awake,
        [argv, &options](const std::string& reason) { useTerminal(*argv, options, reason); });
}

} // namespace

int applicationMain(int argc, char** argv, const qf::InterfaceFile& interfaceFile,
                    Inventory& inventory, const Awake& awake) {
    qf::nameApplication(argv);
    const auto version = qf::service<qf::SystemInformation>().bundleVersion().value_or("");
    const auto parsed = cli::parseCommandLine(argc, argv, version);
    if (const auto* status = std::get_if<int>(&parsed)) {
        return *status;
    }
    const auto& options = std::get<cli::Options>(parsed);
    try {
        if (options.allUsers) {
            return static_cast<int>(allUsers(options));
        }
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
