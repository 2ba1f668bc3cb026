#pragma once

#include "platform/linux/system/GLibOwners.h"

#include <gio/gio.h>

#include <memory>
#include <string>
#include <utility>

namespace qf::native {

/// A connection to a message bus that is being made. GLib waits without limit for a bus that does
/// not greet, and where it cannot start the thread that connects. So the attempt can be abandoned:
/// this object need not live until it ends. For one thread.
class PendingConnection {
public:
    /// Begins to connect to the bus at a D-Bus address. What becomes of it comes with the events of
    /// the thread's default context.
    PendingConnection(const std::string& address, GCancellable* cancellable);

    /// Returns whether there is a connection or an error.
    bool isOver() const { return outcome_->isOver; }

    /// Takes the connection; null if there is none, or none yet.
    Owned<GDBusConnection> takeConnection() { return std::move(outcome_->connection); }

    /// Returns why there is none; null if it is there or not over.
    GError* error() const { return outcome_->error.get(); }

private:
    struct Outcome {
        bool isOver = false;
        Owned<GDBusConnection> connection;
        OwnedError error;
    };

    static void end(GObject* source, GAsyncResult* result, void* outcome);

    std::shared_ptr<Outcome> outcome_ = std::make_shared<Outcome>();
};

} // namespace qf::native
