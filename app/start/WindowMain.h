#pragma once

#include "app/Inventory.h"
#include "app/cli/CommandLine.h"
#include "app/cli/ExitStatus.h"
#include "app/start/Awake.h"

#include <functional>
#include <string>

namespace start {

/// Runs the application in windows to its end.
///
/// The main window lists on request what a run would remove. If a run leaves something in place, a
/// last window says what and why, after the alert. Signals that ask the program to end count as
/// Cancel before the run; a run goes on to its end, and the program then ends without an alert.
/// Calls `withoutDisplay` with the reason if there is no display; the process ends when that
/// returns. Throws platform::Exception if the interface file lacks what the controller needs. To be
/// called before any other thread exists.
cli::ExitStatus windowMain(int argc, char** argv, const cli::Options& options,
                           const std::string& interfaceFile, Inventory& inventory,
                           const Awake& awake,
                           const std::function<void(const std::string&)>& withoutDisplay);

} // namespace start
