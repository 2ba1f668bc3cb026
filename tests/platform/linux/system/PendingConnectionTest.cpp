#include "platform/linux/system/PendingConnection.h"

#include "tests/platform/linux/SessionBus.h"
#include "tests/platform/linux/SilentBus.h"

#include <gtest/gtest.h>

using qf::native::PendingConnection;

namespace {

void waitForEndOf(const PendingConnection& pending) {
    while (!pending.isOver()) {
        g_main_context_iteration(nullptr, TRUE);
    }
}

TEST(PendingConnection, IsThereOnceItIsOver) {
    const SessionBus bus;
    PendingConnection pending(bus.address(), nullptr);
    EXPECT_FALSE(pending.isOver());

    waitForEndOf(pending);

    EXPECT_EQ(pending.error(), nullptr);
    const auto connection = pending.takeConnection();
    ASSERT_NE(connection, nullptr);
    EXPECT_NE(g_dbus_connection_get_unique_name(connection.get()), nullptr);
}

TEST(PendingConnection, TellsWhyThereIsNone) {
    PendingConnection pending("unix:path=/nonexistent/bus", nullptr);

    waitForEndOf(pending);

    EXPECT_NE(pending.error(), nullptr);
    EXPECT_EQ(pending.takeConnection(), nullptr);
}

// AddressSanitizer tells if what is gone is written to.
TEST(PendingConnection, MayBeAbandoned) {
    const SilentBus bus;
    const qf::native::Owned<GCancellable> cancellable(g_cancellable_new());
    { const PendingConnection abandoned(bus.address(), cancellable.get()); }

    g_cancellable_cancel(cancellable.get());

    EXPECT_TRUE(g_main_context_iteration(nullptr, TRUE));
}

} // namespace
