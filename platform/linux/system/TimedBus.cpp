#include "platform/linux/system/TimedBus.h"

#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/system/PendingConnection.h"

#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

namespace qf::native {

namespace {

constexpr unsigned busTimeout = 2000; // milliseconds

gboolean cancel(void* cancellable) {
    g_cancellable_cancel(static_cast<GCancellable*>(cancellable));
    return G_SOURCE_REMOVE;
}

bool hasDescriptorsForBus() {
    // A loop has two on systems without eventfd, and there are at most three: that of the caller,
    // of the bus and of GLib itself.
    std::array<FileDescriptor, 8> descriptors;
    std::generate(descriptors.begin(), descriptors.end(),
                  [] { return FileDescriptor(::eventfd(0, EFD_CLOEXEC)); });
    return static_cast<bool>(descriptors.back());
}

/// GLib starts two, one for buses and one for itself, and keeps them.
bool hasThreadsForBus() {
    static std::atomic<bool> hasStarted{false};
    if (hasStarted) {
        return true;
    }
    std::promise<void> end;
    const auto ended = end.get_future().share();
    std::array<std::thread, 2> threads;
    try {
        std::generate(threads.begin(), threads.end(),
                      [&ended] { return std::thread([ended] { ended.wait(); }); });
        hasStarted = true;
    } catch (const std::system_error&) { // None is left.
    }
    end.set_value();
    for (auto& thread : threads) {
        if (thread.joinable()) {
            thread.join();
        }
    }
    return hasStarted;
}

} // namespace

bool hasMeansForBus() {
    return hasDescriptorsForBus() && hasThreadsForBus();
}

std::string systemBusAddress() {
    const OwnedText address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    return address ? address.get() : "";
}

TimedBus::TimedBus(const std::string& address) : cancellable_(g_cancellable_new()) {
    if (!hasMeansForBus()) {
        return;
    }
    context_ = g_main_context_new();
    timer_ = g_timeout_source_new(busTimeout);
    g_main_context_push_thread_default(context_);
    g_source_set_callback(timer_, cancel, cancellable_.get(), nullptr);
    g_source_attach(timer_, context_);
    PendingConnection pending(address, cancellable_.get());
    while (!pending.isOver() && !isTimeUp()) {
        g_main_context_iteration(context_, TRUE);
    }
    // What is cancelled ends soon, and is freed then, if GLib has a thread for it.
    constexpr int attempts = 10;
    constexpr gulong pause = 10'000; // microseconds
    for (int attempt = 0; attempt < attempts && !pending.isOver(); ++attempt) {
        g_usleep(pause);
        g_main_context_iteration(context_, FALSE);
    }
    connection_ = pending.takeConnection();
}

TimedBus::~TimedBus() {
    if (context_ == nullptr) {
        return;
    }
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

} // namespace qf::native
