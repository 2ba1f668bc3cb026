#include "platform/linux/tools/launchctl/Systemd.h"

#include "tests/platform/linux/SessionBus.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace qf::native::launchctl {
namespace {

using Calls = std::vector<std::string>;

/// Has the name of a service manager on a bus, writes down what it is asked, and answers by tables.
class FakeManager {
public:
    explicit FakeManager(const std::string& address)
        : connection_(g_dbus_connection_new_for_address_sync(
              address.c_str(),
              static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
              nullptr, nullptr, nullptr)) {
        g_dbus_connection_add_filter(connection_, &FakeManager::filter, this, nullptr);
        g_variant_unref(g_dbus_connection_call_sync(
            connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "RequestName", g_variant_new("(su)", "org.freedesktop.systemd1", 0U), nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    }
    ~FakeManager() {
        g_dbus_connection_close_sync(connection_, nullptr, nullptr);
        g_object_unref(connection_);
    }
    FakeManager(const FakeManager&) = delete;
    FakeManager& operator=(const FakeManager&) = delete;
    FakeManager(FakeManager&&) = delete;
    FakeManager& operator=(FakeManager&&) = delete;

    /// Answers calls of a method with an error from now on.
    void fail(const std::string& method, const std::string& error) {
        const std::lock_guard lock(mutex_);
        errors_[method] = error;
    }

    /// Ends the jobs for a unit only when the unit is killed.
    void hold(const std::string& unit) {
        const std::lock_guard lock(mutex_);
        held_.insert(unit);
    }

    Calls calls() const {
        const std::lock_guard lock(mutex_);
        return calls_;
    }

private:
    /// Called in the connection's own thread.
    static GDBusMessage* filter(GDBusConnection* /*connection*/, GDBusMessage* message,
                                gboolean isIncoming, void* self) {
        if (isIncoming == FALSE ||
            g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
            return message;
        }
        static_cast<FakeManager*>(self)->answer(message);
        g_object_unref(message);
        return nullptr;
    }

    void answer(GDBusMessage* message) {
        const std::lock_guard lock(mutex_);
        const std::string method = g_dbus_message_get_member(message);
        GVariant* arguments = g_dbus_message_get_body(message);
        calls_.push_back(method + (arguments == nullptr ? "()" : printed(arguments)));
        if (const auto error = errors_.find(method); error != errors_.end()) {
            send(g_dbus_message_new_method_error_literal(message, error->second.c_str(), "failed"));
            return;
        }
        if (method == "StartUnit" || method == "StopUnit") {
            reply(message, "(objectpath '/job/" + std::to_string(++lastJob_) + "',)");
            if (!held_.contains(unitIn(arguments))) {
                endJob();
            }
            return;
        }
        const auto found = answers.find(method);
        reply(message, found == answers.end() ? "()" : found->second);
        if (method == "KillUnit") {
            endJob();
        }
    }

    /// Tells that the last job is over.
    void endJob() {
        GDBusMessage* signal = g_dbus_message_new_signal(
            "/org/freedesktop/systemd1", "org.freedesktop.systemd1.Manager", "JobRemoved");
        const auto path = "/job/" + std::to_string(lastJob_);
        g_dbus_message_set_body(signal, g_variant_new("(uoss)", 1U, path.c_str(), "", "done"));
        send(signal);
    }

    void reply(GDBusMessage* call, const std::string& value) {
        GDBusMessage* message = g_dbus_message_new_method_reply(call);
        g_dbus_message_set_body(message, g_variant_new_parsed(value.c_str()));
        send(message);
    }

    void send(GDBusMessage* message) {
        g_dbus_connection_send_message(connection_, message, G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                       nullptr, nullptr);
        g_object_unref(message);
    }

    static std::string unitIn(GVariant* arguments) {
        const char* unit = nullptr;
        g_variant_get_child(arguments, 0, "&s", &unit);
        return unit;
    }

    static std::string printed(GVariant* value) {
        const OwnedText text(g_variant_print(value, FALSE));
        return text.get();
    }

    /// What calls return that return anything.
    static inline const std::map<std::string, std::string> answers{
        {"GetUnitFileState", "('enabled',)"},
        {"LoadUnit", "(objectpath '/unit',)"},
        {"GetAll", "({'MainPID': <uint32 42>, 'ExecMainStatus': <7>},)"},
    };

    GDBusConnection* connection_;
    mutable std::mutex mutex_;
    std::map<std::string, std::string> errors_;
    std::set<std::string> held_;
    Calls calls_;
    int lastJob_ = 0;
};

constexpr const char* noSuchUnit = "org.freedesktop.systemd1.NoSuchUnit";
constexpr const char* noSuchFile = "org.freedesktop.DBus.Error.FileNotFound";
constexpr const char* nothingToClean = "org.freedesktop.systemd1.NothingToClean";
constexpr const char* refusal = "org.freedesktop.DBus.Error.AccessDenied";

/// A session with a bus; on it is a service manager where a test uses it.
class SystemdTest : public testing::Test {
protected:
    static Systemd::Clock::time_point now() { return Systemd::Clock::now(); }
    static Systemd::Clock::time_point later() { return now() + std::chrono::minutes(1); }

    const TemporaryDirectory directory_;
    const ScopedEnvironment runtimeDirectory_{"XDG_RUNTIME_DIR", directory_.path()};
    const ScopedEnvironment address_{"DBUS_SESSION_BUS_ADDRESS", std::nullopt};
    const SessionBus bus_;
};

class ConnectedSystemd : public SystemdTest {
protected:
    FakeManager fake_{bus_.address()};
    Systemd manager_{Domain::user, later()};
};

TEST_F(SystemdTest, IsMissingOnABusWithoutOne) {
    EXPECT_THROW(Systemd(Domain::user, later()), NoServiceManager);
}

TEST_F(SystemdTest, IsMissingWithoutABus) {
    const ScopedEnvironment noBus("DBUS_SESSION_BUS_ADDRESS", std::nullopt);

    EXPECT_THROW(Systemd(Domain::user, later()), NoServiceManager);
}

TEST_F(ConnectedSystemd, TellsWhetherThereIsAUnitFile) {
    EXPECT_TRUE(manager_.hasUnitFile("a.service"));

    for (const auto* answer : {noSuchUnit, noSuchFile}) {
        fake_.fail("GetUnitFileState", answer);
        EXPECT_FALSE(manager_.hasUnitFile("a.service")) << answer;
    }
}

TEST_F(ConnectedSystemd, ThrowsWhatTheManagerRefuses) {
    fake_.fail("Reload", refusal);

    try {
        manager_.reload();
        FAIL() << "not refused";
    } catch (const tool::ToolError& error) {
        EXPECT_STREQ(error.what(), "failed");
    }
}

TEST_F(ConnectedSystemd, StartsUnitsInTheirOrderAndWaitsForThem) {
    manager_.start({"b.service", "a.timer"}, later());

    EXPECT_EQ(fake_.calls(), (Calls{"Subscribe()", "StartUnit('b.service', 'replace')",
                                    "StartUnit('a.timer', 'replace')"}));
}

TEST_F(ConnectedSystemd, LeavesAUnitToStartWhenPatienceIsOver) {
    fake_.hold("a.service");

    manager_.start({"a.service"}, now());

    EXPECT_EQ(fake_.calls().back(), "StartUnit('a.service', 'replace')");
}

TEST_F(ConnectedSystemd, StopsUnitsAndPassesOverThoseThatItDoesNotKnow) {
    manager_.stop({"a.timer", "a.service"}, later());
    fake_.fail("StopUnit", noSuchUnit);
    manager_.stop({"b.service"}, later());

    EXPECT_EQ(fake_.calls(),
              (Calls{"Subscribe()", "StopUnit('a.timer', 'replace')",
                     "StopUnit('a.service', 'replace')", "StopUnit('b.service', 'replace')"}));
}

TEST_F(ConnectedSystemd, KillsWhatStillRunsWhenPatienceIsOver) {
    fake_.hold("a.service");

    manager_.stop({"a.service"}, now());

    EXPECT_EQ(fake_.calls().back(), "KillUnit('a.service', 'all', 9)");
}

TEST_F(ConnectedSystemd, ForgetsFailuresAndWhenATimerElapsed) {
    fake_.fail("CleanUnit", nothingToClean);

    manager_.forget("a.service");
    manager_.forget("a.timer");

    EXPECT_EQ(fake_.calls(), (Calls{"ResetFailedUnit('a.service',)", "ResetFailedUnit('a.timer',)",
                                    "CleanUnit('a.timer', ['state'])"}));
}

TEST_F(ConnectedSystemd, ReadsTheStateOfAService) {
    const auto state = manager_.stateOf("a.service");

    EXPECT_EQ(state.processId, 42U);
    EXPECT_EQ(state.lastStatus, 7);
}

} // namespace
} // namespace qf::native::launchctl
