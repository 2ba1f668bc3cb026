#pragma once

#include "platform/linux/system/GLibOwners.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <string>

/// A connection to the bus at an address, by which a name is taken there while it lives.
class BusName {
public:
    BusName(const std::string& address, const char* name)
        : bus_(g_dbus_connection_new_for_address_sync(
              address.c_str(),
              static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
              nullptr, nullptr, nullptr)) {
        const qf::native::OwnedVariant named(g_dbus_connection_call_sync(
            bus_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "RequestName", g_variant_new("(su)", name, 0U), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
            nullptr, nullptr));
        EXPECT_NE(named, nullptr);
    }

    GDBusConnection* connection() const { return bus_.get(); }

private:
    const qf::native::Owned<GDBusConnection> bus_;
};
