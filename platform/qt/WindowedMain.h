#pragma once

#include "platform/Windows.h"
#include "platform/qt/StartUpFailure.h"
#include "platform/support/InterfaceFile.h"

#include <functional>
#include <string>

namespace qf::qt {

/// Runs the application on a desktop as qf::windowedMain() does, then calls `finished`, which
/// may show more windows, and returns what that returns, the exit status. The main window is not
/// shown if `awake` has shown another one. If there is no display, `withoutDisplay` is called with
/// the reason; the process ends when that returns. Throws qf::Exception if the interface file lacks
/// what the controller asks for, or is no interface file.
int windowedMain(int argc, char** argv, const InterfaceFile& interfaceFile,
                 const std::function<void(qf::Interface&)>& awake,
                 const std::function<int()>& finished, const WithoutDisplay& withoutDisplay);

/// Serves the work for the main thread until the application terminates, and answers alerts with
/// their default button. To be called by a handler of std::exit(), which Qt calls when the display
/// goes away. Returns false at once if an alert is being answered: its caller waits in vain.
bool outliveDisplay();

} // namespace qf::qt
