#pragma once

#include "platform/linux/system/GLibOwners.h"

#include <gio/gio.h>

#include <string>

namespace qf::native {

/// Returns whether the descriptors and threads are left that GLib needs for a connection to a bus
/// and the event loops that serve it. GLib ends the process where it gets none of them. Any thread
/// may call this.
bool hasMeansForBus();

/// Returns the address of the system bus; empty if it has none. To find it, GLib starts an event
/// loop too.
std::string systemBusAddress();

/// A private connection to a message bus whose every call ends within little more than two seconds
/// in all, for one thread. A shared connection may end the process when the bus goes away.
class TimedBus {
public:
    /// Connects to the bus at a D-Bus address. There is no connection if too few descriptors or
    /// threads are left.
    explicit TimedBus(const std::string& address);
    ~TimedBus();
    TimedBus(const TimedBus&) = delete;
    TimedBus& operator=(const TimedBus&) = delete;
    TimedBus(TimedBus&&) = delete;
    TimedBus& operator=(TimedBus&&) = delete;

    /// Returns the connection, or null if there is none.
    GDBusConnection* connection() const { return connection_.get(); }

    bool isTimeUp() const { return g_cancellable_is_cancelled(cancellable_.get()) != FALSE; }

    /// Passed to GIO's asynchronous functions with deliver() as the callback.
    GCancellable* cancellable() const { return cancellable_.get(); }

    /// Stores the result for wait().
    static void deliver(GObject* source, GAsyncResult* result, void* bus);

    /// Returns the result of a call that was started with deliver() and this object. When time is
    /// up, the call is cancelled and completes all the same.
    Owned<GAsyncResult> wait();

private:
    Owned<GCancellable> cancellable_;
    GMainContext* context_ = nullptr;
    GSource* timer_ = nullptr;
    GAsyncResult* result_ = nullptr;
    Owned<GDBusConnection> connection_;
};

} // namespace qf::native
