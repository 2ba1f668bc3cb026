#pragma once

#include "platform/Windows.h"

#include <functional>
#include <string>

namespace platform {

/// Puts this operating system's implementation behind every port but those of the user interface.
/// Called once, before any other thread runs. Where the environment names no usable home folder,
/// the account's own is put there for the process and its children.
void installServices();

/// Runs a windowed application to its end and gives the process's exit status.
///
/// Puts the user interface behind its ports, loads the interface file, hands it to `awake`, which
/// makes the application's controller out of it, shows the main window, whose outlet is
/// "windowMain", and runs the event loop until the application terminates. Without a display, with
/// an interface file that lacks what the controller asks for, or while another process of the same
/// user runs the application, one line on standard error says so and the status is 1.
int applicationMain(int argc, char** argv, const std::string& interfaceFile,
                    const std::function<void(Interface&)>& awake);

} // namespace platform
