#include "platform/linux/system/TimedBus.h"

#include <utility>

namespace platform::native {

namespace {

constexpr unsigned busTimeout = 2000; // milliseconds

gboolean cancel(void* cancellable) {
    g_cancellable_cancel(static_cast<GCancellable*>(cancellable));
    return G_SOURCE_REMOVE;
}

} // namespace

TimedBus::TimedBus(const std::string& address)
    : context_(g_main_context_new()), cancellable_(g_cancellable_new()),
      timer_(g_timeout_source_new(busTimeout)) {
    g_main_context_push_thread_default(context_);
    g_source_set_callback(timer_, cancel, cancellable_.get(), nullptr);
    g_source_attach(timer_, context_);
    constexpr auto flags =
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    g_dbus_connection_new_for_address(address.c_str(), flags, nullptr, cancellable_.get(), deliver,
                                      this);
    connection_.reset(g_dbus_connection_new_for_address_finish(wait().get(), nullptr));
}

TimedBus::~TimedBus() {
    if (connection_) {
        g_dbus_connection_close(connection_.get(), nullptr, nullptr, nullptr);
    }
    g_source_destroy(timer_);
    g_source_unref(timer_);
    g_main_context_pop_thread_default(context_);
    g_main_context_unref(context_);
}

void TimedBus::deliver(GObject* /*source*/, GAsyncResult* result, void* bus) {
    static_cast<TimedBus*>(bus)->result_ = static_cast<GAsyncResult*>(g_object_ref(result));
}

Owned<GAsyncResult> TimedBus::wait() {
    while (result_ == nullptr) {
        g_main_context_iteration(context_, TRUE);
    }
    return Owned<GAsyncResult>(std::exchange(result_, nullptr));
}

} // namespace platform::native
