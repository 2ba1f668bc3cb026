#pragma once

#include "app/Inventory.h"
#include "app/cli/CommandLine.h"
#include "app/cli/ExitStatus.h"
#include "app/start/Awake.h"

#include <string>

namespace start {

/// Prints what a run would take away on standard output. Nothing is changed, and no right is asked
/// for. Throws platform::Exception "QFListUnwritable" when not all of it could be written.
cli::ExitStatus listMain(const cli::Options& options, Inventory& inventory);

/// Runs the application on the terminal to its end: with questions, or without any when the options
/// say "uninstall".
///
/// As applicationMain() with the windows of a terminal. A report is written before
/// anything else, so that one that cannot be written ends the run before it has begun. Throws
/// platform::Exception when the interface file lacks what the controller asks for.
cli::ExitStatus terminalMain(const cli::Options& options, const std::string& interfaceFile,
                             Inventory& inventory, const Awake& awake);

} // namespace start
