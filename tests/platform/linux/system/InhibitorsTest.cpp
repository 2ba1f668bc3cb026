#include "platform/linux/system/Inhibitors.h"

#include "tests/platform/linux/SessionBus.h"
#include "tests/support/ScopedEnvironment.h"

#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/system/GLibOwners.h"

#include <gio/gio.h>
#include <gio/gunixfdlist.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>

#include <array>
#include <atomic>
#include <future>
#include <iostream>
#include <memory>
#include <string>

using qf::native::FileDescriptor;
using qf::native::Inhibitors;

namespace {

constexpr const char* description = R"(
<node>
  <interface name='org.freedesktop.login1.Manager'>
    <method name='Inhibit'>
      <arg type='s' direction='in'/>
      <arg type='s' direction='in'/>
      <arg type='s' direction='in'/>
      <arg type='s' direction='in'/>
      <arg type='h' direction='out'/>
    </method>
  </interface>
</node>)";

/// A login manager that hands out locks, or refuses them.
class LoginManager {
public:
    explicit LoginManager(const std::string& address) {
        connection_ = g_dbus_connection_new_for_address_sync(
            address.c_str(),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr);
        node_ = g_dbus_node_info_new_for_xml(description, nullptr);
        static const GDBusInterfaceVTable table{called, nullptr, nullptr, {}};
        g_dbus_connection_register_object(connection_, "/org/freedesktop/login1",
                                          node_->interfaces[0], &table, this, nullptr, nullptr);
        GVariant* answer = g_dbus_connection_call_sync(
            connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "RequestName", g_variant_new("(su)", "org.freedesktop.login1", 0U), nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        EXPECT_NE(answer, nullptr);
        g_variant_unref(answer);
    }
    ~LoginManager() {
        g_dbus_connection_close_sync(connection_, nullptr, nullptr);
        g_object_unref(connection_);
        g_dbus_node_info_unref(node_);
    }
    LoginManager(const LoginManager&) = delete;
    LoginManager& operator=(const LoginManager&) = delete;
    LoginManager(LoginManager&&) = delete;
    LoginManager& operator=(LoginManager&&) = delete;

    bool refuses = false;
    int lockCount = 1;
    std::string asked;

    bool isLockHeld() const { return !isLockReleasedWithin(0); }

    /// Waits until it is: a thread of the bus frees its own descriptor when it has sent it.
    bool isLockReleased() const { return isLockReleasedWithin(60'000); }

    /// Serves requests on the test's thread while `work` runs on another.
    template <class Work>
    auto serveWhile(const Work& work) {
        auto result = std::async(std::launch::async, [&work] {
            auto made = work();
            g_main_context_wakeup(nullptr);
            return made;
        });
        while (result.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            g_main_context_iteration(nullptr, FALSE);
        }
        return result.get();
    }

private:
    static void called(GDBusConnection* /*connection*/, const char* /*sender*/,
                       const char* /*path*/, const char* /*interface*/, const char* /*method*/,
                       GVariant* arguments, GDBusMethodInvocation* invocation, void* self) {
        static_cast<LoginManager*>(self)->answer(arguments, invocation);
    }

    void answer(GVariant* arguments, GDBusMethodInvocation* invocation) {
        const qf::native::OwnedText text(g_variant_print(arguments, FALSE));
        asked = text.get();
        if (refuses) {
            g_dbus_method_invocation_return_dbus_error(
                invocation, "org.freedesktop.DBus.Error.AccessDenied", "no");
            return;
        }
        std::array<int, 2> ends{};
        ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        watched_ = FileDescriptor(ends[0]);
        const FileDescriptor lock(ends[1]);
        const qf::native::Owned<GUnixFDList> list(g_unix_fd_list_new());
        for (int count = 0; count < lockCount; ++count) {
            g_unix_fd_list_append(list.get(), lock.get(), nullptr);
        }
        g_dbus_method_invocation_return_value_with_unix_fd_list(
            invocation, g_variant_new("(h)", 0), lockCount == 0 ? nullptr : list.get());
        g_dbus_connection_flush_sync(connection_, nullptr, nullptr);
    }

    bool isLockReleasedWithin(int milliseconds) const {
        pollfd lock{.fd = watched_.get(), .events = POLLIN, .revents = 0};
        return ::poll(&lock, 1, milliseconds) == 1;
    }

    GDBusConnection* connection_ = nullptr;
    GDBusNodeInfo* node_ = nullptr;
    FileDescriptor watched_;
};

/// Counts what GLib complains of, such as calls without what they need, for a scope.
class Complaints {
public:
    Complaints() = default;
    ~Complaints() { g_log_set_default_handler(former_, nullptr); }
    Complaints(const Complaints&) = delete;
    Complaints& operator=(const Complaints&) = delete;
    Complaints(Complaints&&) = delete;
    Complaints& operator=(Complaints&&) = delete;

    int count() const { return count_; }

private:
    static void take(const char* /*domain*/, GLogLevelFlags /*level*/, const char* message,
                     void* self) {
        ++static_cast<Complaints*>(self)->count_;
        std::cerr << message << '\n';
    }

    std::atomic<int> count_{0};
    GLogFunc former_ = g_log_set_default_handler(take, this);
};

class InhibitorsTest : public testing::Test {
protected:
    std::unique_ptr<qf::Inhibition> inhibited() {
        return manager.serveWhile(
            [] { return Inhibitors().inhibitShutdown("Player", "Burning a disc"); });
    }

    SessionBus bus;
    ScopedEnvironment systemBus{"DBUS_SYSTEM_BUS_ADDRESS", bus.address()};
    LoginManager manager{bus.address()};
};

TEST_F(InhibitorsTest, AskTheLoginManager) {
    EXPECT_NE(inhibited(), nullptr);
    EXPECT_EQ(manager.asked, "('shutdown:sleep', 'Player', 'Burning a disc', 'block')");
}

TEST_F(InhibitorsTest, HoldTheLockWhileTheInhibitionExists) {
    auto inhibition = inhibited();
    EXPECT_TRUE(manager.isLockHeld());
    inhibition.reset();
    EXPECT_TRUE(manager.isLockReleased());
}

TEST_F(InhibitorsTest, ReturnNothingIfTheLoginManagerRefuses) {
    manager.refuses = true;
    EXPECT_EQ(inhibited(), nullptr);
}

class InhibitorsGivenLocks : public InhibitorsTest, public testing::WithParamInterface<int> {};

TEST_P(InhibitorsGivenLocks, ReturnNothingUnlessThereIsOne) {
    const Complaints complaints;
    manager.lockCount = GetParam();
    EXPECT_EQ(inhibited(), nullptr);
    EXPECT_EQ(complaints.count(), 0);
}

INSTANTIATE_TEST_SUITE_P(, InhibitorsGivenLocks, testing::Values(0, 2));

TEST(InhibitorsWithoutASystemBus, ReturnNothing) {
    const ScopedEnvironment none("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    EXPECT_EQ(Inhibitors().inhibitShutdown("Player", "Burning a disc"), nullptr);
}

} // namespace
