#include "platform/linux/system/Inhibitors.h"

#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/system/GLibOwners.h"
#include "platform/linux/system/TimedBus.h"

#include <gio/gio.h>
#include <gio/gunixfdlist.h>

#include <utility>

namespace qf::native {

namespace {

constexpr const char* loginManager = "org.freedesktop.login1";
constexpr const char* managerPath = "/org/freedesktop/login1";
constexpr const char* managerInterface = "org.freedesktop.login1.Manager";
constexpr const char* heldOff = "shutdown:sleep";
constexpr const char* untilReleased = "block";

class HeldLock : public Inhibition {
public:
    explicit HeldLock(FileDescriptor lock) : lock_(std::move(lock)) {}

private:
    /// The manager releases the lock when every copy of this descriptor is closed.
    FileDescriptor lock_;
};

} // namespace

std::unique_ptr<Inhibition> Inhibitors::inhibitShutdown(const std::string& who,
                                                        const std::string& why) {
    TimedBus bus(hasMeansForBus() ? systemBusAddress() : "");
    if (bus.connection() == nullptr) {
        return nullptr;
    }
    g_dbus_connection_call_with_unix_fd_list(
        bus.connection(), loginManager, managerPath, managerInterface, "Inhibit",
        g_variant_new("(ssss)", heldOff, who.c_str(), why.c_str(), untilReleased),
        G_VARIANT_TYPE("(h)"), G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, bus.cancellable(),
        TimedBus::deliver, &bus);
    GUnixFDList* received = nullptr;
    const OwnedVariant answer(g_dbus_connection_call_with_unix_fd_list_finish(
        bus.connection(), &received, bus.wait().get(), nullptr));
    const Owned<GUnixFDList> descriptors(received);
    if (!answer || !descriptors || g_unix_fd_list_get_length(descriptors.get()) != 1) {
        return nullptr;
    }
    return std::make_unique<HeldLock>(
        FileDescriptor(g_unix_fd_list_get(descriptors.get(), 0, nullptr)));
}

} // namespace qf::native
