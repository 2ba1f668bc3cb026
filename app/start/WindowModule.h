#pragma once

#include "app/Inventory.h"
#include "app/cli/CommandLine.h"
#include "app/start/Awake.h"
#include "platform/support/InterfaceFile.h"

#include <functional>
#include <string>

namespace start {

/// Called with the reason if there are no windows.
using WithoutWindows = std::function<void(const std::string&)>;

/// The function of the module of the windows: runs the application in windows to its end, and
/// returns the process's exit status.
///
/// The main window lists on request what a run would remove. If a run leaves something in place, a
/// last window says what and why, after the alert. Signals that ask the program to end count as
/// Cancel before the run; a run goes on to its end, and the program then ends without an alert.
/// Calls `withoutWindows` if there is no display; the process ends when that returns. Throws
/// qf::Exception if the interface file lacks what the controller needs. To be called before
/// any other thread exists.
using WindowMain = int(int argc, char** argv, const cli::Options& options,
                       const qf::InterfaceFile& interfaceFile, Inventory& inventory,
                       const Awake& awake, const WithoutWindows& withoutWindows);

} // namespace start
