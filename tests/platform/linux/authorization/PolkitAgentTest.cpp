// The agent where there is no bus. tests/e2e/authorization-checks has it with the real polkit.

#include "platform/linux/authorization/PolkitAgent.h"

#include "tests/support/ScopedEnvironment.h"

#include <gtest/gtest.h>
#include <unistd.h>

using namespace qf::native;

class PolkitAgentWithoutABus : public testing::Test {
private:
    ScopedEnvironment bus_{"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/no/bus"};
};

TEST_F(PolkitAgentWithoutABus, FindsNoPolkit) {
    EXPECT_FALSE(isPolkitAvailable());
}

TEST_F(PolkitAgentWithoutABus, IsNotRegisteredAndEnds) {
    int answers = 0;
    const auto answer = [&](const std::vector<uid_t>& /*administrators*/, int /*attempt*/) {
        ++answers;
        return PolkitAnswer{};
    };
    for (int round = 0; round < 10; ++round) {
        const PolkitAgent agent(::getpid(), answer, [](const PolkitQuestion&) { return true; });
        EXPECT_FALSE(agent.isRegistered());
    }
    EXPECT_EQ(answers, 0);
}
