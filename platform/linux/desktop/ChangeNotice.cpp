#include "platform/linux/desktop/ChangeNotice.h"

#include "platform/linux/posix/LongPath.h"
#include "platform/linux/system/ObjectOwner.h"
#include "platform/linux/system/UserAccount.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <sys/stat.h>

#include <cstdlib>
#include <memory>

namespace platform::native {

namespace {

constexpr const char* anyPath = "/";
constexpr const char* interface = "org.kde.KDirNotify";
constexpr const char* filesChanged = "FilesChanged";
constexpr const char* filesAdded = "FilesAdded";
constexpr unsigned busTimeout = 2000; // milliseconds

using Connection = Owned<GDBusConnection>;
using Cancellable = Owned<GCancellable>;
using Text = std::unique_ptr<char, decltype(&g_free)>;

/// Returns the address of the session bus; empty if there is none. Does not start one.
std::string busAddress() {
    const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (address != nullptr && *address != '\0') {
        return address;
    }
    const auto directory = absolutePathFromEnvironment("XDG_RUNTIME_DIR");
    struct stat status {};
    if (!directory || ::stat((*directory + "/bus").c_str(), &status) != 0) {
        return "";
    }
    const Text path(g_dbus_address_escape_value((*directory + "/bus").c_str()), &g_free);
    return std::string("unix:path=") + path.get();
}

/// Runs the events of this scope alone, on this thread, until time is up.
class Events {
public:
    Events() : context_(g_main_context_new()), cancellable_(g_cancellable_new()) {
        g_main_context_push_thread_default(context_);
        timer_ = g_timeout_source_new(busTimeout);
        g_source_set_callback(
            timer_,
            [](void* cancellable) -> gboolean {
                g_cancellable_cancel(static_cast<GCancellable*>(cancellable));
                return G_SOURCE_REMOVE;
            },
            cancellable_.get(), nullptr);
        g_source_attach(timer_, context_);
    }
    ~Events() {
        g_source_destroy(timer_);
        g_source_unref(timer_);
        g_main_context_pop_thread_default(context_);
        g_main_context_unref(context_);
    }
    Events(const Events&) = delete;
    Events& operator=(const Events&) = delete;
    Events(Events&&) = delete;
    Events& operator=(Events&&) = delete;

    /// Returns the result of a call that was started with `deliver` and `&result` as its callback.
    /// When time is up, the call is cancelled and completes all the same.
    GAsyncResult* wait(GAsyncResult*& result) const {
        while (result == nullptr) {
            g_main_context_iteration(context_, TRUE);
        }
        return result;
    }
    static void deliver(GObject* /*source*/, GAsyncResult* result, void* place) {
        *static_cast<GAsyncResult**>(place) = static_cast<GAsyncResult*>(g_object_ref(result));
    }

    GCancellable* cancellable() const { return cancellable_.get(); }
    bool isTimeUp() const { return g_cancellable_is_cancelled(cancellable_.get()) != FALSE; }

private:
    GMainContext* context_;
    Cancellable cancellable_;
    GSource* timer_ = nullptr;
};

/// Opens a private connection: a shared one may end the process when the bus goes away.
Connection connect(const std::string& address, const Events& events) {
    constexpr auto flags =
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    GAsyncResult* result = nullptr;
    g_dbus_connection_new_for_address(address.c_str(), flags, nullptr, events.cancellable(),
                                      Events::deliver, &result);
    const Owned<GAsyncResult> owned(events.wait(result));
    return Connection(g_dbus_connection_new_for_address_finish(owned.get(), nullptr));
}

bool emit(const Connection& connection, const char* signal, GVariant* arguments) {
    return g_dbus_connection_emit_signal(connection.get(), nullptr, anyPath, interface, signal,
                                         arguments, nullptr) != FALSE;
}

bool flush(const Connection& connection, const Events& events) {
    GAsyncResult* result = nullptr;
    g_dbus_connection_flush(connection.get(), events.cancellable(), Events::deliver, &result);
    const Owned<GAsyncResult> owned(events.wait(result));
    return g_dbus_connection_flush_finish(connection.get(), owned.get(), nullptr) != FALSE;
}

} // namespace

Result<void, WorkspaceStatus> announceChange(const std::string& path) {
    struct stat status {};
    const auto found = atPath(path, [&status](int directory, const char* rest) {
        return ::fstatat(directory, rest, &status, AT_SYMLINK_NOFOLLOW);
    });
    const Text uri(g_filename_to_uri(path.c_str(), nullptr, nullptr), &g_free);
    if (!uri || !found) {
        return Unexpected(fnfErr);
    }
    const auto address = busAddress();
    if (address.empty()) {
        return Unexpected(procNotFound);
    }
    const Events events;
    const auto connection = connect(address, events);
    if (!connection) {
        return Unexpected(events.isTimeUp() ? errAETimeout : procNotFound);
    }
    const char* item = uri.get();
    const bool isTold =
        emit(connection, filesChanged, g_variant_new("(@as)", g_variant_new_strv(&item, 1))) &&
        (!S_ISDIR(status.st_mode) || emit(connection, filesAdded, g_variant_new("(s)", item))) &&
        flush(connection, events);
    if (!isTold) {
        return Unexpected(events.isTimeUp() ? errAETimeout : connectionInvalid);
    }
    g_dbus_connection_close(connection.get(), nullptr, nullptr, nullptr);
    return {};
}

} // namespace platform::native
