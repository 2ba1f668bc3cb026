// What polkit's agent is asked, by a polkit of the test's own.

#include "platform/linux/authorization/PolkitAgent.h"

#include "platform/linux/system/GLibOwners.h"
#include "tests/platform/linux/BusName.h"
#include "tests/platform/linux/SessionBus.h"
#include "tests/support/Eventually.h"
#include "tests/support/ScopedEnvironment.h"

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>

using namespace qf::native;

namespace {

constexpr const char* authorityDescription = R"(
<node>
  <interface name='org.freedesktop.PolicyKit1.Authority'>
    <method name='RegisterAuthenticationAgent'>
      <arg type='(sa{sv})' direction='in'/>
      <arg type='s' direction='in'/>
      <arg type='s' direction='in'/>
    </method>
    <method name='UnregisterAuthenticationAgent'>
      <arg type='(sa{sv})' direction='in'/>
      <arg type='s' direction='in'/>
    </method>
  </interface>
</node>)";

/// Stands for polkit: it asks each agent that registers one question.
class AskingPolkit {
public:
    explicit AskingPolkit(const std::string& address)
        : node_(g_dbus_node_info_new_for_xml(authorityDescription, nullptr),
                g_dbus_node_info_unref),
          bus_(address, "org.freedesktop.PolicyKit1") {
        static const GDBusInterfaceVTable table{called, nullptr, nullptr, {}};
        g_dbus_connection_register_object(bus_.connection(),
                                          "/org/freedesktop/PolicyKit1/Authority",
                                          node_->interfaces[0], &table, nullptr, nullptr, nullptr);
    }

    /// Serves agents on the test's thread while `work` runs on another.
    template <class Work>
    static auto serveWhile(const Work& work) {
        auto result = std::async(std::launch::async, work);
        while (result.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            g_main_context_iteration(nullptr, FALSE);
        }
        return result.get();
    }

private:
    static void called(GDBusConnection* bus, const char* sender, const char* /*path*/,
                       const char* /*interface*/, const char* method, GVariant* arguments,
                       GDBusMethodInvocation* invocation, void* /*data*/) {
        g_dbus_method_invocation_return_value(invocation, nullptr);
        if (std::string(method) == "RegisterAuthenticationAgent") {
            const char* agent = nullptr;
            g_variant_get_child(arguments, 2, "&s", &agent);
            g_dbus_connection_call(
                bus, sender, agent, "org.freedesktop.PolicyKit1.AuthenticationAgent",
                "BeginAuthentication",
                g_variant_new_parsed("('an action', '', '', {'polkit.caller-pid': '4711'}, "
                                     "'cookie', [('unix-user', {'uid': <uint32 0>})])"),
                nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
        }
    }

    const std::unique_ptr<GDBusNodeInfo, decltype(&g_dbus_node_info_unref)> node_;
    const BusName bus_;
};

/// A question, and the thread that it came to.
struct AskedQuestion {
    PolkitQuestion question;
    std::thread::id thread;
};

/// Returns the question that an agent is asked; nothing if none comes for long.
std::optional<AskedQuestion> questionOfPolkit() {
    std::promise<AskedQuestion> asked;
    auto question = asked.get_future();
    const PolkitAgent agent(
        ::getpid(), [](const auto&, int) { return PolkitAnswer{}; },
        [&asked](const PolkitQuestion& given) {
            asked.set_value({given, std::this_thread::get_id()});
            return false;
        });
    return question.wait_for(std::chrono::minutes(1)) == std::future_status::ready
               ? std::optional(question.get())
               : std::nullopt;
}

} // namespace

TEST(PolkitQuestion, TellsWhichProcessAsksForWhat) {
    const SessionBus bus;
    const ScopedEnvironment systemBus("DBUS_SYSTEM_BUS_ADDRESS", bus.address());
    const AskingPolkit polkit(bus.address());
    const auto asked = AskingPolkit::serveWhile(questionOfPolkit);
    ASSERT_TRUE(asked);
    EXPECT_EQ(asked->question.action, "an action");
    EXPECT_EQ(asked->question.asker, 4711);
}

TEST(PolkitQuestion, DoesNotComeToTheThreadThatServesTheProgramsEvents) {
    const SessionBus bus;
    const ScopedEnvironment systemBus("DBUS_SYSTEM_BUS_ADDRESS", bus.address());
    const AskingPolkit polkit(bus.address());
    const auto asked = AskingPolkit::serveWhile(questionOfPolkit);
    ASSERT_TRUE(asked);
    EXPECT_NE(asked->thread, std::this_thread::get_id());
}

namespace {

/// Returns whether an agent closes its connection in time that it cannot read any more. Without
/// that polkit waits for its answer, and whoever asked waits for polkit.
bool agentHangsUp() {
    const PolkitAgent agent(
        ::getpid(), [](const auto&, int) { return PolkitAnswer{}; },
        [](const PolkitQuestion&) { return false; });
    const Owned<GDBusConnection> agents(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    GIOStream* stream = g_dbus_connection_get_stream(agents.get());
    g_socket_shutdown(g_socket_connection_get_socket(G_SOCKET_CONNECTION(stream)), TRUE, FALSE,
                      nullptr);
    return agent.isRegistered() &&
           eventually([stream] { return g_io_stream_is_closed(stream) != FALSE; });
}

} // namespace

TEST(PolkitQuestion, KeepsNobodyWaitingOnceTheBusCannotBeRead) {
    const SessionBus bus;
    const ScopedEnvironment systemBus("DBUS_SYSTEM_BUS_ADDRESS", bus.address());
    const AskingPolkit polkit(bus.address());
    EXPECT_TRUE(AskingPolkit::serveWhile(agentHangsUp));
}
