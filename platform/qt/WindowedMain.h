#pragma once

#include "platform/Windows.h"
#include "platform/qt/StartUpFailure.h"

#include <functional>
#include <string>

namespace platform::qt {

/// Runs the application on a desktop as platform::windowedMain() does, then calls `finished`, which
/// may show more windows, and returns what that returns, the exit status. If there is no display,
/// `withoutDisplay` is called with the reason; the process ends when that returns. Throws
/// platform::Exception if the interface file lacks what the controller asks for.
int windowedMain(int argc, char** argv, const std::string& interfaceFile,
                 const std::function<void(platform::Interface&)>& awake,
                 const std::function<int()>& finished, const WithoutDisplay& withoutDisplay);

} // namespace platform::qt
