#pragma once

#include "app/Inventory.h"
#include "app/cli/CommandLine.h"
#include "app/cli/ExitStatus.h"
#include "app/start/Awake.h"
#include "platform/support/InterfaceFile.h"

namespace start {

/// Prints what a run would take away on standard output. Changes nothing, and asks for no right.
/// Throws qf::Exception "QFListUnwritable" if not all of it could be written.
cli::ExitStatus listMain(const cli::Options& options, Inventory& inventory);

/// Runs the application on the terminal to its end, with questions or, if the options say
/// "uninstall", without any.
///
/// Works as applicationMain(), with the windows of a terminal. Writes a report before anything
/// else, so that one that cannot be written ends the run before it has begun. Throws
/// qf::Exception if the interface file lacks what the controller needs.
cli::ExitStatus terminalMain(const cli::Options& options, const qf::InterfaceFile& interfaceFile,
                             Inventory& inventory, const Awake& awake);

} // namespace start
