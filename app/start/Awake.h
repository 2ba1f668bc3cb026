#pragma once

#include <functional>

namespace qf {
class Interface;
}
class PlanObserver;

namespace start {

/// Creates the application's controller from the loaded interface; the observer is notified of its
/// run. Both outlive the controller. Called once, on the main thread.
using Awake = std::function<void(qf::Interface&, PlanObserver&)>;

} // namespace start
