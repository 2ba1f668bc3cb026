#include "platform/linux/ChangeNotice.h"

#include "tests/support/ScopedEnvironment.h"

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr const char* busProgram = "/usr/bin/dbus-daemon";

/// A session of the test's own, and somebody in it who hears of changes.
class Session {
public:
    Session() {
        g_test_dbus_up(bus_.get());
        constexpr auto flags =
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
        listener_.reset(g_dbus_connection_new_for_address_sync(
            g_test_dbus_get_bus_address(bus_.get()), flags, nullptr, nullptr, nullptr));
        g_dbus_connection_signal_subscribe(listener_.get(), nullptr, "org.kde.KDirNotify",
                                           "FilesChanged", nullptr, nullptr,
                                           G_DBUS_SIGNAL_FLAGS_NONE, heard, &uris_, nullptr);
    }
    ~Session() {
        listener_.reset();
        g_test_dbus_down(bus_.get());
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    Session(Session&&) = delete;
    Session& operator=(Session&&) = delete;

    std::string address() const { return g_test_dbus_get_bus_address(bus_.get()); }

    /// The next item that is said to have changed.
    std::string nextUri() {
        while (uris_.empty()) {
            g_main_context_iteration(nullptr, TRUE);
        }
        auto uri = uris_.front();
        uris_.erase(uris_.begin());
        return uri;
    }

private:
    static void heard(GDBusConnection* /*connection*/, const char* /*sender*/, const char* /*path*/,
                      const char* /*interface*/, const char* /*name*/, GVariant* arguments,
                      void* uris) {
        const char* uri = nullptr;
        GVariant* list = g_variant_get_child_value(arguments, 0);
        g_variant_get_child(list, 0, "&s", &uri);
        static_cast<std::vector<std::string>*>(uris)->emplace_back(uri);
        g_variant_unref(list);
    }

    std::unique_ptr<GTestDBus, decltype(&g_object_unref)> bus_{g_test_dbus_new(G_TEST_DBUS_NONE),
                                                               &g_object_unref};
    std::unique_ptr<GDBusConnection, decltype(&g_object_unref)> listener_{nullptr, &g_object_unref};
    std::vector<std::string> uris_;
};

} // namespace

TEST(ChangeNotice, IsHeardOnTheBusOfTheSession) {
    if (::access(busProgram, X_OK) != 0) {
        GTEST_SKIP() << busProgram << " is missing";
    }
    Session session;
    const ScopedEnvironment environment("DBUS_SESSION_BUS_ADDRESS", session.address());
    platform::native::announceChange("/a folder/100%\xFF");
    EXPECT_EQ(session.nextUri(), "file:///a%20folder/100%25%FF");
    platform::native::announceChange("/second");
    EXPECT_EQ(session.nextUri(), "file:///second");
}

TEST(ChangeNotice, IsForNobodyWithoutABus) {
    const ScopedEnvironment none("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
    platform::native::announceChange("/file");
    const ScopedEnvironment gone("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere/bus");
    platform::native::announceChange("/file");
    platform::native::announceChange("relative");
    platform::native::announceChange("");
}
