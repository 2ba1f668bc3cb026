#include "platform/linux/system/TimedBus.h"

#include "tests/platform/linux/SessionBus.h"
#include "tests/platform/linux/SilentBus.h"
#include "tests/support/NoThreadsLeft.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/ScopedLimit.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

using qf::native::systemBusAddress;
using qf::native::TimedBus;

namespace {

TEST(TimedBus, ConnectsToABus) {
    const SessionBus bus;
    const TimedBus timed(bus.address());
    EXPECT_NE(timed.connection(), nullptr);
    EXPECT_FALSE(timed.isTimeUp());
}

TEST(TimedBus, ConnectsToTheSystemBusWhereverThatIs) {
    const SessionBus bus;
    const ScopedEnvironment variable("DBUS_SYSTEM_BUS_ADDRESS", bus.address());
    EXPECT_NE(TimedBus(systemBusAddress()).connection(), nullptr);
}

TEST(TimedBus, HasNoConnectionWithoutABus) {
    const TimedBus timed("unix:path=/nonexistent/bus");
    EXPECT_EQ(timed.connection(), nullptr);
    EXPECT_FALSE(timed.isTimeUp());
}

TEST(TimedBus, HasNoConnectionWithoutDescriptors) {
    const SessionBus bus;
    for (rlim_t most = 3; most < 12; ++most) {
        const ScopedLimit<RLIMIT_NOFILE> limit(most);
        const TimedBus timed(bus.address());
        EXPECT_EQ(timed.connection(), nullptr);
    }
}

/// Returns whether there is no connection without threads. The bus ends before the process does:
/// its daemon would keep the death test waiting.
bool isWithoutConnection() {
    const SessionBus bus;
    const NoThreadsLeft none;
    return TimedBus(bus.address()).connection() == nullptr;
}

/// Returns whether there is none if only one of GLib's threads is missing, the one that connects,
/// another than those that GLib keeps.
bool isWithoutConnectionInTime() {
    const SessionBus bus;
    const bool hadMeans = qf::native::hasMeansForBus();
    const qf::native::Owned<GDBusConnection> connected(g_dbus_connection_new_for_address_sync(
        bus.address().c_str(), G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT, nullptr, nullptr,
        nullptr));
    const NoThreadsLeft none;
    const TimedBus timed(bus.address());
    return hadMeans && connected && timed.isTimeUp() && !timed.connection();
}

// GLib keeps the threads that an earlier test has started.
TEST(TimedBusDeathTest, HasNoConnectionWithoutThreads) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::exit(isWithoutConnection() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST(TimedBusDeathTest, HasNoConnectionWithoutAThreadToConnect) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::exit(isWithoutConnectionInTime() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST(TimedBus, DoesNotWaitForABusThatSaysNothing) {
    const SilentBus bus;
    const TimedBus timed(bus.address());
    EXPECT_EQ(timed.connection(), nullptr);
    EXPECT_TRUE(timed.isTimeUp());
}

TEST(TimedBus, DoesNotWaitForAnAnswerForGood) {
    const SessionBus bus;
    TimedBus silent(bus.address());
    const std::unique_ptr<GDBusNodeInfo, decltype(&g_dbus_node_info_unref)> node(
        g_dbus_node_info_new_for_xml(
            "<node><interface name='a.b'><method name='C'/></interface></node>", nullptr),
        &g_dbus_node_info_unref);
    // Calls wait for the events of the bus, which nobody runs.
    static const GDBusInterfaceVTable notCalled{
        [](GDBusConnection* /*connection*/, const char* /*sender*/, const char* /*path*/,
           const char* /*interface*/, const char* /*method*/, GVariant* /*arguments*/,
           GDBusMethodInvocation* /*invocation*/, void* /*data*/) { ADD_FAILURE(); },
        nullptr,
        nullptr,
        {}};
    g_dbus_connection_register_object(silent.connection(), "/", node->interfaces[0], &notCalled,
                                      nullptr, nullptr, nullptr);
    TimedBus timed(bus.address());
    g_dbus_connection_call(timed.connection(),
                           g_dbus_connection_get_unique_name(silent.connection()), "/", "a.b", "C",
                           nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, timed.cancellable(),
                           TimedBus::deliver, &timed);
    EXPECT_EQ(g_dbus_connection_call_finish(timed.connection(), timed.wait().get(), nullptr),
              nullptr);
    EXPECT_TRUE(timed.isTimeUp());
}

} // namespace
