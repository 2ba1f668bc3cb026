#pragma once

#include "platform/Windows.h"

#include <functional>
#include <optional>
#include <string>

/// Shown by the library that holds it, which hides all of what implements the ports.
#define QF_EXPORT [[gnu::visibility("default")]]

namespace platform {

/// What the services cannot find out about the program themselves.
struct ProgramDescription {
    /// A name that no other program has, such as "com.example.Player": that of its preferences.
    /// Where it is missing, the name of the program's file serves.
    std::optional<std::string> identifier;
    /// The version as a person writes it, such as "1.2"; the program's log begins with it.
    std::optional<std::string> version;
    /// The file of the program's own privileged helper, which does what that program needs and
    /// nothing else. Where it is missing, the general one serves, which starts any tool.
    std::optional<std::string> helper;
};

/// Puts this operating system's implementation behind every port but those of the user interface.
/// Called once, before any other thread runs. Where the environment names no usable home directory,
/// the account's own is put there for the process and its children. A standard stream that is
/// closed becomes the null device, so that no file takes its number and what is said there.
QF_EXPORT void installServices(const ProgramDescription& program = {});

/// Runs a program without windows to its end and gives its exit status, which is what `body`
/// returns.
///
/// `body` runs on a thread of its own; the calling thread is the main thread, and runs the event
/// loop that time-outs and work for the main thread need, until `body` returns or the application
/// terminates, which is status 0. Then the observers of termination run, so that the log is
/// written. What `body` throws ends the process, as any uncaught exception does. There are no
/// windows and no alerts: an operation that shows one throws platform::Exception
/// "QFServiceUnavailable".
QF_EXPORT int consoleMain(const std::function<int()>& body);

/// Runs a windowed application to its end and gives the process's exit status.
///
/// Puts the user interface behind its ports, loads the interface file, hands it to `awake`, which
/// makes the application's controller out of it, shows the main window, whose outlet is
/// "windowMain", and runs the event loop until the application terminates. Without a display, with
/// an interface file that lacks what the controller asks for, or while another process of the same
/// user runs the application, one line on standard error says so and the status is 1. The
/// application's name, which its desktop file has too, is the last component of `argv[0]`.
QF_EXPORT int windowedMain(int argc, char** argv, const std::string& interfaceFile,
                           const std::function<void(Interface&)>& awake);

} // namespace platform
