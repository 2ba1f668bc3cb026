#pragma once

#include "platform/linux/system/GLibOwners.h"
#include "platform/linux/tools/launchctl/ServiceManager.h"

#include <gio/gio.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace qf::native::launchctl {

/// A connection to systemd over the bus: org.freedesktop.systemd1(5).
class Systemd final : public ServiceManager {
public:
    /// Connects to the manager of a domain. Throws NoServiceManager if nothing answers for it.
    Systemd(Domain domain, Clock::time_point deadline);

    bool hasUnitFile(const std::string& unit) override;
    void reload() override;
    void start(const std::vector<std::string>& units, Clock::time_point patience) override;
    void stop(const std::vector<std::string>& units, Clock::time_point patience) override;
    void forget(const std::string& unit) override;
    ServiceState stateOf(const std::string& service) override;

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

} // namespace qf::native::launchctl
