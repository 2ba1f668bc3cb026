#include "platform/linux/tools/launchctl/Systemd.h"

#include "platform/linux/system/PendingConnection.h"
#include "platform/linux/system/TimedBus.h"
#include "platform/linux/system/UserAccount.h"

#include <gio/gio.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>

namespace qf::native::launchctl {

namespace {

using tool::ToolError;
using Clock = ServiceManager::Clock;

constexpr const char* systemdName = "org.freedesktop.systemd1";
constexpr const char* managerPath = "/org/freedesktop/systemd1";
constexpr const char* managerInterface = "org.freedesktop.systemd1.Manager";
constexpr const char* noAnswer = "the service manager does not answer";

constexpr const char* noSuchUnit = "org.freedesktop.systemd1.NoSuchUnit";
constexpr const char* fileNotFound = "org.freedesktop.DBus.Error.FileNotFound";
constexpr const char* nothingToClean = "org.freedesktop.systemd1.NothingToClean";

/// Returns the address of the bus of the user's manager: next to the manager's other sockets, even
/// if the session has its own bus.
std::string userBusAddress() {
    const auto socket = serviceManagerDirectory() + "/bus";
    std::error_code error;
    const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (address != nullptr && !std::filesystem::exists(socket, error)) {
        return address;
    }
    const OwnedText escaped(g_dbus_address_escape_value(socket.c_str()));
    return std::string("unix:path=") + escaped.get();
}

std::string withoutName(GError& error) {
    g_dbus_error_strip_remote_error(&error);
    return error.message;
}

bool isTimeout(const GError& error) {
    return g_error_matches(&error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) != 0 ||
           g_error_matches(&error, G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY) != 0 ||
           g_error_matches(&error, G_DBUS_ERROR, G_DBUS_ERROR_TIMEOUT) != 0;
}

/// Rounded up, so that a timer does not fire just before the end and once more after it.
int millisecondsUntil(Clock::time_point end) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    return static_cast<int>(std::max<std::int64_t>(left.count(), 1));
}

/// Runs the events of the connection until there is nothing to wait for or time is up.
template <class Done>
bool serveUntil(Clock::time_point end, Done done) {
    const auto wakeUp = [](void*) -> gboolean { return G_SOURCE_CONTINUE; };
    const auto timer = g_timeout_add(static_cast<guint>(millisecondsUntil(end)), wakeUp, nullptr);
    while (!done() && Clock::now() < end) {
        g_main_context_iteration(nullptr, TRUE);
    }
    g_source_remove(timer);
    return done();
}

/// Throws if there is no connection in time.
Owned<GDBusConnection> connectionTo(const std::string& address, Clock::time_point deadline) {
    PendingConnection pending(address, nullptr);
    if (!serveUntil(deadline, [&] { return pending.isOver(); })) {
        throw ToolError(noAnswer);
    }
    if (pending.error() != nullptr) {
        throw NoServiceManager("there is no service manager: " + withoutName(*pending.error()));
    }
    return pending.takeConnection();
}

/// One signal subscription, for a scope.
class JobRemovedSubscription {
public:
    JobRemovedSubscription(GDBusConnection* connection, const std::string& manager,
                           std::map<std::string, std::string>& jobs)
        : connection_(connection),
          id_(g_dbus_connection_signal_subscribe(
              connection, manager.c_str(), managerInterface, "JobRemoved", managerPath, nullptr,
              G_DBUS_SIGNAL_FLAGS_NONE, jobRemoved, &jobs, nullptr)) {}
    ~JobRemovedSubscription() { g_dbus_connection_signal_unsubscribe(connection_, id_); }
    JobRemovedSubscription(const JobRemovedSubscription&) = delete;
    JobRemovedSubscription& operator=(const JobRemovedSubscription&) = delete;
    JobRemovedSubscription(JobRemovedSubscription&&) = delete;
    JobRemovedSubscription& operator=(JobRemovedSubscription&&) = delete;

private:
    static void jobRemoved(GDBusConnection* /*connection*/, const char* /*sender*/,
                           const char* /*path*/, const char* /*interface*/, const char* /*name*/,
                           GVariant* arguments, void* jobs) {
        if (g_variant_is_of_type(arguments, G_VARIANT_TYPE("(uoss)")) == 0) {
            return;
        }
        const char* job = nullptr;
        g_variant_get_child(arguments, 1, "&o", &job);
        static_cast<std::map<std::string, std::string>*>(jobs)->erase(job);
    }

    GDBusConnection* connection_;
    guint id_;
};

} // namespace

Systemd::Systemd(Domain domain, Clock::time_point deadline)
    : connection_(
          connectionTo(domain == Domain::user ? userBusAddress() : systemBusAddress(), deadline)),
      deadline_(deadline) {
    findManager();
}

/// Asks the bus for the manager's name, because a call to the manager would make the bus try to
/// start it.
void Systemd::findManager() {
    GError* raised = nullptr;
    const OwnedVariant reply(g_dbus_connection_call_sync(
        connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetNameOwner", g_variant_new("(s)", systemdName), G_VARIANT_TYPE("(s)"),
        G_DBUS_CALL_FLAGS_NONE, millisecondsUntil(deadline_), nullptr, &raised));
    const OwnedError error(raised);
    if (error && isTimeout(*error)) {
        throw ToolError(noAnswer);
    }
    if (error) {
        throw NoServiceManager("there is no service manager: " + withoutName(*error));
    }
    const char* owner = nullptr;
    g_variant_get(reply.get(), "(&s)", &owner);
    manager_ = owner;
}

OwnedVariant Systemd::call(const Target& target, const char* method, GVariant* arguments,
                           const char* replyType, const Expected& expected) {
    GError* raised = nullptr;
    OwnedVariant reply(g_dbus_connection_call_sync(
        connection_.get(), manager_.c_str(), target.path, target.interface, method, arguments,
        G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NONE, millisecondsUntil(deadline_), nullptr,
        &raised));
    const OwnedError error(raised);
    if (!error) {
        return reply;
    }
    const OwnedText name(g_dbus_error_get_remote_error(error.get()));
    if (name && expected.contains(name.get())) {
        return nullptr;
    }
    throw ToolError(isTimeout(*error) ? noAnswer : withoutName(*error));
}

OwnedVariant Systemd::manage(const char* method, GVariant* arguments, const char* replyType,
                             const Expected& expected) {
    return call({managerPath, managerInterface}, method, arguments, replyType, expected);
}

bool Systemd::hasUnitFile(const std::string& unit) {
    return manage("GetUnitFileState", g_variant_new("(s)", unit.c_str()), "(s)",
                  {noSuchUnit, fileNotFound}) != nullptr;
}

void Systemd::reload() {
    manage("Reload", nullptr, "()");
}

void Systemd::queueJobs(const char* method, const std::vector<std::string>& units,
                        const Expected& expected) {
    jobs_.clear();
    // The manager sends signals only to subscribers, and a client may subscribe only once.
    if (!isSubscribed_) {
        manage("Subscribe", nullptr, "()");
        isSubscribed_ = true;
    }
    for (const auto& unit : units) {
        const auto reply =
            manage(method, g_variant_new("(ss)", unit.c_str(), "replace"), "(o)", expected);
        if (reply) {
            const char* job = nullptr;
            g_variant_get(reply.get(), "(&o)", &job);
            jobs_.emplace(job, unit);
        }
    }
}

void Systemd::start(const std::vector<std::string>& units, Clock::time_point patience) {
    const JobRemovedSubscription subscription(connection_.get(), manager_, jobs_);
    queueJobs("StartUnit", units);
    serveUntil(patience, [this] { return jobs_.empty(); });
    jobs_.clear();
}

void Systemd::stop(const std::vector<std::string>& units, Clock::time_point patience) {
    const JobRemovedSubscription subscription(connection_.get(), manager_, jobs_);
    queueJobs("StopUnit", units, {noSuchUnit});
    const auto allStopped = [this] { return jobs_.empty(); };
    if (serveUntil(patience, allStopped)) {
        return;
    }
    for (const auto& [job, unit] : jobs_) {
        manage("KillUnit", g_variant_new("(ssi)", unit.c_str(), "all", SIGKILL), "()",
               {noSuchUnit});
    }
    if (!serveUntil(deadline_, allStopped)) {
        throw ToolError(jobs_.begin()->second + " does not end");
    }
}

void Systemd::forget(const std::string& unit) {
    manage("ResetFailedUnit", g_variant_new("(s)", unit.c_str()), "()", {noSuchUnit});
    if (unit.ends_with(".timer")) {
        const char* const kinds[] = {"state", nullptr};
        manage("CleanUnit", g_variant_new("(s^as)", unit.c_str(), kinds), "()",
               {noSuchUnit, nothingToClean});
    }
}

ServiceState Systemd::stateOf(const std::string& service) {
    const auto loaded = manage("LoadUnit", g_variant_new("(s)", service.c_str()), "(o)");
    const char* path = nullptr;
    g_variant_get(loaded.get(), "(&o)", &path);
    const auto properties =
        call({path, "org.freedesktop.DBus.Properties"}, "GetAll",
             g_variant_new("(s)", "org.freedesktop.systemd1.Service"), "(a{sv})");
    const OwnedVariant values(g_variant_get_child_value(properties.get(), 0));
    ServiceState state;
    g_variant_lookup(values.get(), "MainPID", "u", &state.processId);
    g_variant_lookup(values.get(), "ExecMainStatus", "i", &state.lastStatus);
    return state;
}

} // namespace qf::native::launchctl

qf::native::launchctl::ServiceManager*
moduleMain(qf::native::launchctl::Domain domain,
           qf::native::launchctl::ServiceManager::Clock::time_point deadline) {
    return std::make_unique<qf::native::launchctl::Systemd>(domain, deadline).release();
}
