#pragma once

#include <functional>

namespace platform {
class Interface;
}
class PlanObserver;

namespace start {

/// Makes the application's controller of the loaded interface; the observer is told of its run.
/// Both outlive the controller. Called once, on the main thread.
using Awake = std::function<void(platform::Interface&, PlanObserver&)>;

} // namespace start
