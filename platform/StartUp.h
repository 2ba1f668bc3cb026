#pragma once

#if __cplusplus < 202002L
#error "The utility layer needs C++20: compile with -std=c++20 or newer."
#endif

#include "platform/Windows.h"
#include "platform/foundation/Export.h"

#include <functional>
#include <optional>
#include <string>

namespace qf {

/// What the services cannot find out about the program by themselves.
struct ProgramDescription {
    /// A unique name, such as "com.example.Player", which names its preferences. If missing, the
    /// name of the program's file is used.
    std::optional<std::string> identifier;
    /// The version as a person writes it, such as "1.2"; the program's log begins with it.
    std::optional<std::string> version;
    /// The directory of the program's own helper and modules, relative to that of the program's
    /// file. Without it they are expected in the utility layer's directory.
    std::optional<std::string> directory = {};
    /// The file in that directory that is the program's own privileged helper, which does what that
    /// program needs and nothing else. Without it the general one serves, which starts any tool.
    std::optional<std::string> helper = {};
    /// Whether a user who has refused the administrator's right is not asked for it again while the
    /// program runs. Otherwise each request asks.
    bool asksOnce = false;
};

/// Installs this operating system's implementation of every port except those of the user
/// interface. Must be called once, before any other thread runs. If the environment names no usable
/// home directory, sets it to the account's own for the process and its children. Opens a closed
/// standard stream on the null device, so that no file takes its number and receives its output;
/// what is written to it fails.
QF_EXPORT void installServices(const ProgramDescription& program = {});

/// Runs a program without windows and returns its exit status, which is what `body` returns.
///
/// `body` runs on its own thread; the calling thread is the main thread, and runs the event loop
/// that work for the main thread needs, until `body` returns or the application
/// terminates, which is status 0. Then the termination observers run, so that the log is written.
/// An exception from `body` ends the process, as any uncaught exception does. There are no windows
/// and no alerts: an operation that shows one throws qf::Exception "QFServiceUnavailable".
QF_EXPORT int consoleMain(const std::function<int()>& body);

/// Runs a windowed application and returns the process's exit status.
///
/// Installs the user interface, loads the interface file, passes it to `awake`, which makes the
/// application's controller from it, shows the main window, whose outlet is "windowMain", and runs
/// the event loop until the application terminates. If there is no display, if the interface file
/// lacks what the controller asks for, or if another process of the same user runs the application,
/// prints one line to standard error and returns 1. The application's name, also that of its
/// desktop file, is the last component of `argv[0]`.
QF_EXPORT int windowedMain(int argc, char** argv, const std::string& interfaceFile,
                           const std::function<void(Interface&)>& awake);

} // namespace qf
