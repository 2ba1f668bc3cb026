#pragma once

#include "platform/linux/tools/Tool.h"
#include "platform/linux/tools/launchctl/JobUnits.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace qf::native::launchctl {

/// There is no service manager to talk to, and so nothing can be running.
class NoServiceManager : public tool::ToolError {
    using tool::ToolError::ToolError;
};

/// The state of a service.
struct ServiceState {
    /// Zero while the service does not run.
    std::uint32_t processId = 0;
    /// The exit status, or the signal, that the service last ended with.
    std::int32_t lastStatus = 0;
};

/// A connection to a service manager.
///
/// Every operation returns by the deadline of the connection, and throws tool::ToolError if it has
/// not been carried out by then or the manager refuses it. Not shared between threads.
class ServiceManager {
public:
    using Clock = std::chrono::steady_clock;

    ServiceManager() = default;
    virtual ~ServiceManager() = default;
    ServiceManager(const ServiceManager&) = delete;
    ServiceManager& operator=(const ServiceManager&) = delete;
    ServiceManager(ServiceManager&&) = delete;
    ServiceManager& operator=(ServiceManager&&) = delete;

    /// Returns whether a unit file of this name exists anywhere on the manager's search path.
    virtual bool hasUnitFile(const std::string& unit) = 0;

    /// Makes the manager reload its unit files.
    virtual void reload() = 0;

    /// Starts units and waits until that has succeeded or failed, but no longer than until
    /// `patience`.
    virtual void start(const std::vector<std::string>& units, Clock::time_point patience) = 0;

    /// Stops units in order and waits until all of their processes have ended. Those that still run
    /// at `patience` are killed.
    virtual void stop(const std::vector<std::string>& units, Clock::time_point patience) = 0;

    /// Makes the manager forget that a stopped unit failed, and when its timer last elapsed.
    virtual void forget(const std::string& unit) = 0;

    virtual ServiceState stateOf(const std::string& service) = 0;
};

/// Connects to the service manager of a domain. Throws NoServiceManager if nothing answers for it.
///
/// The code that does so is a module beside the program, because it needs libraries that take
/// longer to load than all else that the program does when there is nothing to ask.
std::unique_ptr<ServiceManager> connectToServiceManager(Domain domain,
                                                        ServiceManager::Clock::time_point deadline);

/// The function of the module, which does just that. The caller owns what it returns.
using ConnectFunction = ServiceManager*(Domain domain, ServiceManager::Clock::time_point deadline);

} // namespace qf::native::launchctl

extern "C" [[gnu::visibility("default")]] qf::native::launchctl::ConnectFunction moduleMain;
