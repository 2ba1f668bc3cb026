#pragma once

#include <gio/gio.h>

#include <string>

/// A session bus of the test's own, which DBUS_SESSION_BUS_ADDRESS names while it lives.
class SessionBus {
public:
    SessionBus() : SessionBus(nullptr) {}
    /// It knows the services that this directory describes.
    explicit SessionBus(const char* services) : bus_(g_test_dbus_new(G_TEST_DBUS_NONE)) {
        if (services != nullptr) {
            g_test_dbus_add_service_dir(bus_, services);
        }
        g_test_dbus_up(bus_);
    }
    ~SessionBus() {
        g_test_dbus_stop(bus_);
        g_object_unref(bus_);
    }
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;
    SessionBus(SessionBus&&) = delete;
    SessionBus& operator=(SessionBus&&) = delete;

    std::string address() const { return g_test_dbus_get_bus_address(bus_); }

private:
    GTestDBus* bus_;
};
