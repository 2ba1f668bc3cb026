#pragma once

#include "platform/linux/system/GLibOwners.h"
#include "platform/linux/tools/Tool.h"
#include "platform/linux/tools/launchctl/JobUnits.h"

#include <gio/gio.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace platform::native::launchctl {

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

/// A connection to systemd over the bus: org.freedesktop.systemd1(5).
///
/// Every operation returns by the deadline of the connection, and throws tool::ToolError if it has
/// not been carried out by then or the manager refuses it. Not shared between threads.
class ServiceManager {
public:
    using Clock = std::chrono::steady_clock;

    /// Connects to the manager of a domain. Throws NoServiceManager if nothing answers for it.
    ServiceManager(Domain domain, Clock::time_point deadline);
    ~ServiceManager();
    ServiceManager(const ServiceManager&) = delete;
    ServiceManager& operator=(const ServiceManager&) = delete;
    ServiceManager(ServiceManager&&) = delete;
    ServiceManager& operator=(ServiceManager&&) = delete;

    /// Returns whether a unit file of this name exists anywhere on the manager's search path.
    bool hasUnitFile(const std::string& unit);

    /// Makes the manager reload its unit files.
    void reload();

    /// Starts units and waits until that has succeeded or failed, but no longer than until
    /// `patience`.
    void start(const std::vector<std::string>& units, Clock::time_point patience);

    /// Stops units in order and waits until all of their processes have ended. Those that still run
    /// at `patience` are killed.
    void stop(const std::vector<std::string>& units, Clock::time_point patience);

    /// Makes the manager forget that a stopped unit failed, and when its timer last elapsed.
    void forget(const std::string& unit);

    ServiceState stateOf(const std::string& service);

private:
    /// The object and interface that a call is for.
    struct Target {
        const char* path;
        const char* interface;
    };

    /// Names of D-Bus errors that are valid answers to a call.
    using Expected = std::set<std::string>;

    /// Returns null if the answer is one of the expected errors.
    OwnedVariant call(const Target& target, const char* method, GVariant* arguments,
                      const char* replyType, const Expected& expected = {});
    OwnedVariant manage(const char* method, GVariant* arguments, const char* replyType,
                        const Expected& expected = {});
    void findManager();
    void queueJobs(const char* method, const std::vector<std::string>& units,
                   const Expected& expected = {});

    Owned<GDBusConnection> connection_;
    std::string manager_;
    Clock::time_point deadline_;
    bool isSubscribed_ = false;
    /// The units being started or stopped, by the path of the manager's job for each.
    std::map<std::string, std::string> jobs_;
};

} // namespace platform::native::launchctl
