#pragma once

#include "platform/linux/tools/Tool.h"
#include "platform/linux/tools/launchctl/JobUnits.h"

#include <gio/gio.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace platform::native::launchctl {

/// There is no service manager to talk to, and so nothing that it could be running.
class NoServiceManager : public tool::ToolError {
    using tool::ToolError::ToolError;
};

/// What a manager tells of a service.
struct ServiceState {
    /// Zero while the service does not run.
    std::uint32_t processId = 0;
    /// The exit status, or the signal, that the service last ended with.
    std::int32_t lastStatus = 0;
};

/// A connection to systemd over the bus: org.freedesktop.systemd1(5).
///
/// Every operation ends by the deadline that the connection was made with, and throws
/// tool::ToolError when it has not been carried out by then or the manager refuses it. One thread
/// may use it.
class ServiceManager {
public:
    using Clock = std::chrono::steady_clock;

    /// Throws NoServiceManager when nothing answers for the manager of a domain.
    ServiceManager(Domain domain, Clock::time_point deadline);
    ~ServiceManager();
    ServiceManager(const ServiceManager&) = delete;
    ServiceManager& operator=(const ServiceManager&) = delete;
    ServiceManager(ServiceManager&&) = delete;
    ServiceManager& operator=(ServiceManager&&) = delete;

    /// Whether there is a unit file of this name anywhere on the manager's search path.
    bool hasUnitFile(const std::string& unit);

    /// Has the manager read its unit files anew.
    void reload();

    /// Has units started and waits until that is done or has failed, whichever it is, but no longer
    /// than until `patience`.
    void start(const std::vector<std::string>& units, Clock::time_point patience);

    /// Stops units in their order and waits until all of their processes are gone. Those that still
    /// run at `patience` are killed.
    void stop(const std::vector<std::string>& units, Clock::time_point patience);

    /// Has the manager forget that a stopped unit failed, and when its timer last elapsed.
    void forget(const std::string& unit);

    ServiceState stateOf(const std::string& service);

private:
    struct Free {
        void operator()(GDBusConnection* connection) const;
        void operator()(GVariant* variant) const;
    };
    using Reply = std::unique_ptr<GVariant, Free>;
    /// The object and interface that a call is for.
    struct Target {
        const char* path;
        const char* interface;
    };

    /// Names of D-Bus errors that are answers to a call.
    using Expected = std::set<std::string>;

    /// Nothing when the answer is one of the expected errors.
    Reply call(const Target& target, const char* method, GVariant* arguments, const char* replyType,
               const Expected& expected = {});
    Reply manage(const char* method, GVariant* arguments, const char* replyType,
                 const Expected& expected = {});
    void findManager();
    void queueJobs(const char* method, const std::vector<std::string>& units,
                   const Expected& expected = {});

    std::unique_ptr<GDBusConnection, Free> connection_;
    std::string manager_;
    Clock::time_point deadline_;
    bool isSubscribed_ = false;
    /// The units that are being started or stopped, by the path of the manager's job for each.
    std::map<std::string, std::string> jobs_;
};

} // namespace platform::native::launchctl
