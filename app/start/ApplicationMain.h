#pragma once

#include "app/Inventory.h"
#include "app/start/Awake.h"

#include <string>

namespace start {

/// Runs the application to its end, as the command line says, and gives the process's exit status.
///
/// On a desktop: puts the user interface behind its ports, loads the interface file, hands it to
/// `awake`, which makes the application's controller out of it, shows the main window, whose outlet
/// is "windowMain", and runs the event loop until the application terminates. Without a display,
/// and when it is told to, the same on the terminal, or without a question. `inventory` tells what
/// a run would do, for lists and reports.
///
/// When it cannot begin, one line on standard error says why: with an interface file that lacks
/// what the controller asks for, while another process of the same user runs the application, or
/// with nobody to ask. The statuses are those that the option --help explains.
int applicationMain(int argc, char** argv, const std::string& interfaceFile, Inventory& inventory,
                    const Awake& awake);

} // namespace start
