#include "platform/linux/desktop/ChangeNotice.h"

#include "tests/platform/linux/SessionBus.h"
#include "tests/support/NamedCase.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <filesystem>
#include <vector>

#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/system/GLibOwners.h"

using qf::native::announceChange;

namespace {

/// A file manager that listens.
class Listener {
public:
    explicit Listener(const std::string& address) {
        GError* error = nullptr;
        connection_ = g_dbus_connection_new_for_address_sync(
            address.c_str(),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, &error);
        if (connection_ == nullptr) {
            ADD_FAILURE() << error->message;
            return;
        }
        g_dbus_connection_signal_subscribe(connection_, nullptr, "org.kde.KDirNotify", nullptr,
                                           nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE, heard, this,
                                           nullptr);
        roundTrip();
    }
    ~Listener() {
        g_dbus_connection_close_sync(connection_, nullptr, nullptr);
        g_object_unref(connection_);
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    Listener(Listener&&) = delete;
    Listener& operator=(Listener&&) = delete;

    /// Waits for the next signals.
    std::vector<std::string> signals(std::size_t count) {
        while (signals_.size() < count) {
            g_main_context_iteration(nullptr, TRUE);
        }
        return signals_;
    }

private:
    static void heard(GDBusConnection* /*connection*/, const char* /*sender*/, const char* /*path*/,
                      const char* /*interface*/, const char* name, GVariant* arguments,
                      void* self) {
        const qf::native::OwnedText text(g_variant_print(arguments, FALSE));
        static_cast<Listener*>(self)->signals_.push_back(std::string(name) + text.get());
    }

    /// Returns when the bus has processed all earlier requests.
    void roundTrip() {
        GVariant* answer = g_dbus_connection_call_sync(
            connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        ASSERT_NE(answer, nullptr);
        g_variant_unref(answer);
    }

    GDBusConnection* connection_ = nullptr;
    std::vector<std::string> signals_;
};

class ChangeNotice : public testing::Test {
protected:
    TemporaryDirectory directory;
    std::string file = directory.write("a b", "content");
    ScopedEnvironment runtimeDirectory{"XDG_RUNTIME_DIR", std::nullopt};
};

/// A bus that takes connections and never says anything.
class SilentBus {
public:
    explicit SilentBus(const std::string& path)
        : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(
            ::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::listen(socket_.get(), 1), 0);
    }

private:
    qf::native::FileDescriptor socket_;
};

} // namespace

TEST_F(ChangeNotice, ReachesWhoListensOnTheSessionsBus) {
    const SessionBus bus;
    const ScopedEnvironment address("DBUS_SESSION_BUS_ADDRESS", bus.address());
    Listener listener(bus.address());
    EXPECT_TRUE(announceChange(file));
    EXPECT_EQ(listener.signals(1), (std::vector<std::string>{"FilesChanged(['file://" +
                                                             directory.path() + "/a%20b'],)"}));
}

TEST_F(ChangeNotice, OfADirectoryIsOneOfItsContentsToo) {
    const SessionBus bus;
    const ScopedEnvironment address("DBUS_SESSION_BUS_ADDRESS", bus.address());
    Listener listener(bus.address());
    EXPECT_TRUE(announceChange(directory.path()));
    const auto uri = "'file://" + directory.path() + "'";
    EXPECT_EQ(listener.signals(2), (std::vector<std::string>{"FilesChanged([" + uri + "],)",
                                                             "FilesAdded(" + uri + ",)"}));
}

TEST_F(ChangeNotice, NamesAnyItemAtAll) {
    const SessionBus bus;
    const ScopedEnvironment address("DBUS_SESSION_BUS_ADDRESS", bus.address());
    Listener listener(bus.address());
    EXPECT_TRUE(announceChange(directory.write("\xFF\n")));
    std::filesystem::create_symlink("nowhere", directory / "link");
    EXPECT_TRUE(announceChange(directory / "link"));
    const auto signals = listener.signals(2);
    EXPECT_NE(signals[0].find("/%FF%0A'"), std::string::npos) << signals[0];
    EXPECT_NE(signals[1].find("/link'"), std::string::npos) << signals[1];
}

TEST_F(ChangeNotice, OfWhatDoesNotExistIsAnError) {
    EXPECT_EQ(announceChange(directory / "missing").error(), qf::fnfErr);
    EXPECT_EQ(announceChange("relative").error(), qf::fnfErr);
    EXPECT_EQ(announceChange("").error(), qf::fnfErr);
}

/// A value of the variable that names the session's bus.
struct SessionAddress : NamedCase {
    std::optional<std::string> value;
};

class ChangeNoticeWithoutSession : public ChangeNotice,
                                   public testing::WithParamInterface<SessionAddress> {};

TEST_P(ChangeNoticeWithoutSession, IsAnError) {
    const ScopedEnvironment address("DBUS_SESSION_BUS_ADDRESS", GetParam().value);
    EXPECT_EQ(announceChange(file).error(), qf::procNotFound);
}

INSTANTIATE_TEST_SUITE_P(
    All, ChangeNoticeWithoutSession,
    testing::Values(SessionAddress{{"Unset"}, std::nullopt}, SessionAddress{{"Empty"}, ""},
                    SessionAddress{{"MissingSocket"}, "unix:path=/nowhere/bus"},
                    SessionAddress{{"Nonsense"}, "nonsense"}),
    nameOfCase);

TEST_F(ChangeNotice, FindsTheBusInTheSessionsDirectory) {
    const SessionBus bus;
    const auto path = bus.address().substr(std::strlen("unix:path="));
    const auto socket = path.substr(0, path.find(','));
    ASSERT_TRUE(bus.address().starts_with("unix:path=")) << bus.address();
    std::filesystem::create_symlink(socket, directory / "bus");
    const ScopedEnvironment address("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
    const ScopedEnvironment runtime("XDG_RUNTIME_DIR", directory.path());
    Listener listener(bus.address());
    EXPECT_TRUE(announceChange(file));
    EXPECT_EQ(listener.signals(1).size(), 1U);
}

TEST_F(ChangeNotice, DoesNotWaitForABusThatIsSilent) {
    const SilentBus bus(directory / "socket");
    const ScopedEnvironment address("DBUS_SESSION_BUS_ADDRESS",
                                    "unix:path=" + (directory / "socket"));
    EXPECT_EQ(announceChange(file).error(), qf::errAETimeout);
}

TEST_F(ChangeNotice, OutlivesABusThatEnds) {
    std::optional<std::string> former;
    {
        const SessionBus bus;
        former = bus.address();
        const ScopedEnvironment address("DBUS_SESSION_BUS_ADDRESS", former);
        EXPECT_TRUE(announceChange(file));
    }
    const ScopedEnvironment address("DBUS_SESSION_BUS_ADDRESS", former);
    EXPECT_EQ(announceChange(file).error(), qf::procNotFound);
}
