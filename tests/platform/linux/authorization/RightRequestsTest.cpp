// Asking for the administrator's right where another process may listen. The questions themselves
// are in tests/e2e/authorization-checks.

#include "platform/linux/authorization/RightRequests.h"

#include "platform/Console.h"
#include "platform/Services.h"
#include "tests/support/NamedCase.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/Tracer.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <string>
#include <thread>
#include <vector>

using namespace qf;
using qf::native::RightRequests;

namespace {

/// Remembers the lines, and whether this process was dumpable when each was written.
class WatchingConsole : public Console {
public:
    std::vector<std::string> lines;
    std::vector<int> dumpable;

    void systemLog(std::string_view message) override {
        lines.emplace_back(message);
        dumpable.push_back(::prctl(PR_GET_DUMPABLE));
    }
    void print(std::string_view /*text*/) override {}
};

class RightRequestsTest : public testing::Test {
protected:
    static AuthorizationItemSet credentials(const std::string& user, const std::string& password) {
        return {{.name = "username", .value = user}, {.name = "password", .value = password}};
    }

    WatchingConsole console;
    RightRequests requests{{"/no/pkexec", "/no/helper"}, native::Asking::once};

private:
    ScopedService<Console> consoleScope_{console};
    ScopedEnvironment bus_{"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/no/bus"};
};

} // namespace

TEST_F(RightRequestsTest, AsksNobodyWhileAnotherProcessTracesThisOne) {
    {
        const Tracer tracer;
        if (!tracer.isAttached()) {
            GTEST_SKIP() << "this machine lets no process trace its parent";
        }
        EXPECT_EQ(requests.ask().error(), errAuthorizationDenied);
        EXPECT_EQ(requests.authorize(credentials("root", "x")).error(), errAuthorizationDenied);
        const std::string line = "No administrator is asked, because process " +
                                 std::to_string(tracer.process()) + " traces this one";
        EXPECT_EQ(console.lines, (std::vector<std::string>{line, line}));
    }
    EXPECT_EQ(requests.ask().error(), errAuthorizationInternal);
}

// Otherwise one could begin to after that.
TEST_F(RightRequestsTest, LooksForATracerWhenNoOtherProcessCanBeginToTrace) {
    const Tracer tracer;
    if (!tracer.isAttached()) {
        GTEST_SKIP() << "this machine lets no process trace its parent";
    }
    static_cast<void>(requests.ask());
    static_cast<void>(requests.authorize(credentials("root", "x")));
    EXPECT_EQ(console.dumpable, (std::vector<int>{0, 0}));
    EXPECT_EQ(::prctl(PR_GET_DUMPABLE), 1);
}

struct NobodysCredentials : NamedCase {
    AuthorizationItemSet items;
};

class RightRequestsWithCredentials : public RightRequestsTest,
                                     public testing::WithParamInterface<NobodysCredentials> {
public:
    using RightRequestsTest::credentials;
};

TEST_P(RightRequestsWithCredentials, DeniesThoseThatCannotBeAnybodys) {
    EXPECT_EQ(requests.authorize(GetParam().items).error(), errAuthorizationDenied);
}

INSTANTIATE_TEST_SUITE_P(
    , RightRequestsWithCredentials,
    testing::Values(
        NobodysCredentials{{"None"}, {}},
        NobodysCredentials{{"NoUser"}, RightRequestsWithCredentials::credentials("", "x")},
        NobodysCredentials{{"UnknownUser"},
                           RightRequestsWithCredentials::credentials("no such user", "x")},
        NobodysCredentials{{"TwoLines"},
                           RightRequestsWithCredentials::credentials("root", "two\nlines")},
        NobodysCredentials{{"NoPassword"}, {{.name = "username", .value = "root"}}}),
    nameOfCase);

TEST_F(RightRequestsTest, FailsWithoutPolkit) {
    EXPECT_EQ(requests.ask().error(), errAuthorizationInternal);
    EXPECT_EQ(requests.authorize(credentials("root", "x")).error(), errAuthorizationInternal);
    EXPECT_EQ(console.lines, std::vector<std::string>{});
}

TEST_F(RightRequestsTest, AreMadeByManyThreadsAtOnce) {
    const auto ask = [&] {
        for (int request = 0; request < 100; ++request) {
            EXPECT_EQ(requests.ask().error(), errAuthorizationInternal);
        }
    };
    const std::jthread first(ask);
    const std::jthread second(ask);
    ask();
}
