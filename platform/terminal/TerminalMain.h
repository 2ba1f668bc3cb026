#pragma once

#include "platform/Inventory.h"
#include "platform/Windows.h"
#include "platform/terminal/CommandLine.h"
#include "platform/terminal/ExitStatus.h"

#include <functional>
#include <string>

namespace platform::terminal {

/// Prints what a run would take away on standard output. Nothing is changed, and no right is asked
/// for. Throws platform::Exception "QFListUnwritable" when not all of it could be written.
ExitStatus listMain(const Options& options, Inventory& inventory);

/// Runs the application on the terminal to its end: with questions, or without any when the options
/// say "uninstall".
///
/// As platform::applicationMain() with the windows of a terminal. A report is written before
/// anything else, so that one that cannot be written ends the run before it has begun. Throws
/// platform::Exception when the interface file lacks what the controller asks for.
ExitStatus terminalMain(const Options& options, const std::string& interfaceFile,
                        Inventory& inventory, const std::function<void(Interface&)>& awake);

} // namespace platform::terminal
