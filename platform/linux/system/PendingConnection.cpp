#include "platform/linux/system/PendingConnection.h"

namespace qf::native {

PendingConnection::PendingConnection(const std::string& address, GCancellable* cancellable) {
    constexpr auto flags =
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    g_dbus_connection_new_for_address(
        address.c_str(), flags, nullptr, cancellable, end,
        std::make_unique<std::shared_ptr<Outcome>>(outcome_).release());
}

void PendingConnection::end(GObject* /*source*/, GAsyncResult* result, void* outcome) {
    const std::unique_ptr<std::shared_ptr<Outcome>> held(
        static_cast<std::shared_ptr<Outcome>*>(outcome));
    auto& ended = **held;
    GError* error = nullptr;
    ended.connection.reset(g_dbus_connection_new_for_address_finish(result, &error));
    ended.error.reset(error);
    ended.isOver = true;
}

} // namespace qf::native
