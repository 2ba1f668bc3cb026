#pragma once

#include "app/Inventory.h"
#include "app/start/Awake.h"
#include "platform/support/InterfaceFile.h"

namespace start {

/// Runs the application to its end, as the command line says, and returns the process's exit
/// status.
///
/// On a desktop: loads the module of the windows, installs the user interface behind its ports,
/// reads the interface file, passes it to `awake`, which creates the application's controller,
/// shows the main window, whose outlet is "windowMain", and runs the event loop until the
/// application terminates. Without a display, or if an option says so, does the same on the
/// terminal or without questions. `inventory` reports what a run would do, for lists and reports.
///
/// If it cannot begin, one line on standard error says why: the interface file lacks what the
/// controller needs, another process of the same user runs the application, there is nobody to
/// ask, or the superuser was given another account's home. The option --help explains the statuses.
int applicationMain(int argc, char** argv, const qf::InterfaceFile& interfaceFile,
                    Inventory& inventory, const Awake& awake);

} // namespace start
