#include "platform/linux/ChangeNotice.h"

#include <gio/gio.h>

#include <cstdlib>
#include <memory>

namespace platform::native {

namespace {

constexpr const char* anyPath = "/";
constexpr const char* interface = "org.kde.KDirNotify";
constexpr const char* filesChanged = "FilesChanged";

using Connection = std::unique_ptr<GDBusConnection, decltype(&g_object_unref)>;
using Text = std::unique_ptr<char, decltype(&g_free)>;

/// A connection of its own: one that the process shares may end it when the bus goes.
Connection connectionToSession() {
    const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (address == nullptr) {
        return {nullptr, &g_object_unref};
    }
    constexpr auto flags =
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    return {g_dbus_connection_new_for_address_sync(address, flags, nullptr, nullptr, nullptr),
            &g_object_unref};
}

} // namespace

void announceChange(const std::string& path) {
    const Text uri(g_filename_to_uri(path.c_str(), nullptr, nullptr), &g_free);
    if (!uri) {
        return;
    }
    const auto connection = connectionToSession();
    if (!connection) {
        return;
    }
    const char* changed = uri.get();
    auto* const arguments = g_variant_new("(@as)", g_variant_new_strv(&changed, 1));
    g_dbus_connection_emit_signal(connection.get(), nullptr, anyPath, interface, filesChanged,
                                  arguments, nullptr);
    g_dbus_connection_flush_sync(connection.get(), nullptr, nullptr);
    g_dbus_connection_close_sync(connection.get(), nullptr, nullptr);
}

} // namespace platform::native
