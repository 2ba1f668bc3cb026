#include "platform/linux/desktop/ChangeNotice.h"

#include "platform/linux/posix/LongPath.h"
#include "platform/linux/system/GLibOwners.h"
#include "platform/linux/system/TimedBus.h"
#include "platform/linux/system/UserAccount.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <sys/stat.h>

#include <cstdlib>

namespace qf::native {

namespace {

constexpr const char* anyPath = "/";
constexpr const char* interface = "org.kde.KDirNotify";
constexpr const char* filesChanged = "FilesChanged";
constexpr const char* filesAdded = "FilesAdded";

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
    const OwnedText path(g_dbus_address_escape_value((*directory + "/bus").c_str()));
    return std::string("unix:path=") + path.get();
}

bool emit(const TimedBus& bus, const char* signal, GVariant* arguments) {
    return g_dbus_connection_emit_signal(bus.connection(), nullptr, anyPath, interface, signal,
                                         arguments, nullptr) != FALSE;
}

bool flush(TimedBus& bus) {
    g_dbus_connection_flush(bus.connection(), bus.cancellable(), TimedBus::deliver, &bus);
    return g_dbus_connection_flush_finish(bus.connection(), bus.wait().get(), nullptr) != FALSE;
}

} // namespace

Result<void, WorkspaceStatus> announceChange(const std::string& path) {
    struct stat status {};
    const auto found = atPath(path, [&status](int directory, const char* rest) {
        return ::fstatat(directory, rest, &status, AT_SYMLINK_NOFOLLOW);
    });
    const OwnedText uri(g_filename_to_uri(path.c_str(), nullptr, nullptr));
    if (!uri || !found) {
        return Unexpected(fnfErr);
    }
    const auto address = busAddress();
    if (address.empty()) {
        return Unexpected(procNotFound);
    }
    TimedBus bus(address);
    if (bus.connection() == nullptr) {
        return Unexpected(bus.isTimeUp() ? errAETimeout : procNotFound);
    }
    const char* item = uri.get();
    const bool isTold =
        emit(bus, filesChanged, g_variant_new("(@as)", g_variant_new_strv(&item, 1))) &&
        (!S_ISDIR(status.st_mode) || emit(bus, filesAdded, g_variant_new("(s)", item))) &&
        flush(bus);
    if (!isTold) {
        return Unexpected(bus.isTimeUp() ? errAETimeout : connectionInvalid);
    }
    return {};
}

} // namespace qf::native
