// The program's end of the connection, with a helper at the other that does as a test says.

#include "platform/linux/authorization/HelperConnection.h"

#include "platform/linux/authorization/helper/PassingMessage.h"
#include "tests/support/OpenDescriptors.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <string>

using namespace qf;
using qf::native::FileDescriptor;
using qf::native::HelperConnection;
using qf::native::helper::Reply;
using qf::native::helper::Status;

namespace {

struct Ends {
    FileDescriptor program;
    FileDescriptor helper;
};

Ends makeEnds() {
    std::array<int, 2> ends{-1, -1};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

/// Puts an answer where the program will find it when it has asked.
void answer(const Ends& ends, const void* bytes, std::size_t size) {
    ASSERT_EQ(::send(ends.helper.get(), bytes, size, 0), static_cast<ssize_t>(size));
}

void answer(const Ends& ends, Status status) {
    Reply reply;
    reply.status = status;
    answer(ends, &reply, sizeof reply);
}

AuthorizationStatus startedWith(Status status) {
    Ends ends = makeEnds();
    answer(ends, status);
    HelperConnection connection(std::move(ends.program));
    return connection.start("/bin/true", {}).error();
}

} // namespace

TEST(HelperConnection, GreetsAHelperThatIsReady) {
    Ends ends = makeEnds();
    answer(ends, Status::ready);
    HelperConnection connection(std::move(ends.program));
    EXPECT_TRUE(connection.handshake());
    EXPECT_TRUE(connection.isOpen());
}

TEST(HelperConnection, TakesNothingElseForAHelper) {
    Ends ends = makeEnds();
    Reply forged;
    forged.status = Status::ready;
    forged.signature[0] = 'Q';
    answer(ends, &forged, sizeof forged);
    answer(ends, "ready", 5);
    answer(ends, Status::startFailed);
    HelperConnection connection(std::move(ends.program));
    EXPECT_FALSE(connection.handshake());
    EXPECT_FALSE(connection.handshake());
    EXPECT_FALSE(connection.handshake());
    EXPECT_FALSE(connection.handshake(std::chrono::milliseconds(1))); // nobody answers
}

TEST(HelperConnection, KeepsNothingThatComesWithAnEmptyAnswer) {
    Ends ends = makeEnds();
    native::helper::PassingMessage<int> message(nullptr, 0);
    ASSERT_EQ(message.send(ends.helper.get(), STDIN_FILENO, 0), 0);
    HelperConnection connection(std::move(ends.program));
    const auto open = openDescriptors();
    EXPECT_FALSE(connection.handshake());
    EXPECT_EQ(openDescriptors(), open);
}

TEST(HelperConnection, TellsWhenTheHelperHasGone) {
    Ends ends = makeEnds();
    ends.helper.reset();
    HelperConnection connection(std::move(ends.program));
    EXPECT_FALSE(connection.isOpen());
    EXPECT_FALSE(connection.handshake());
    EXPECT_EQ(connection.start("/bin/true", {}).error(), errAuthorizationInternal);
}

TEST(HelperConnection, CountsAHelperAsGoneThatDoesNotAnswer) {
    Ends ends = makeEnds();
    HelperConnection connection(std::move(ends.program), std::chrono::milliseconds(1));
    EXPECT_EQ(connection.start("/bin/true", {}).error(), errAuthorizationInternal);
    EXPECT_FALSE(connection.isOpen());
    EXPECT_EQ(connection.start("/bin/true", {}).error(), errAuthorizationInternal);
}

TEST(HelperConnection, GivesEveryRefusalAStatusAndNoOutput) {
    for (int status = 1; status <= static_cast<int>(Status::notPlanned); ++status) {
        EXPECT_EQ(startedWith(Status{status}), errAuthorizationToolExecuteFailure) << status;
    }
    EXPECT_EQ(startedWith(Status::started), errAuthorizationToolExecuteFailure); // no output came
}

TEST(HelperConnection, SendsNoRequestThatNoHelperWouldTake) {
    Ends ends = makeEnds();
    HelperConnection connection(std::move(ends.program));
    const std::string large(2U << 20U, 'x');
    EXPECT_EQ(connection.start("/bin/true", {large}).error(), errAuthorizationToolExecuteFailure);
    EXPECT_EQ(connection.start("", {}).error(), errAuthorizationToolExecuteFailure);
    char byte = 0;
    EXPECT_EQ(::recv(ends.helper.get(), &byte, 1, MSG_DONTWAIT), -1);
}

TEST(HelperConnection, KeepsTheProcessToItselfForItsLifetime) {
    ASSERT_EQ(::prctl(PR_GET_DUMPABLE), 1);
    {
        const HelperConnection first(makeEnds().program);
        const HelperConnection second(makeEnds().program);
        EXPECT_EQ(::prctl(PR_GET_DUMPABLE), 0);
    }
    EXPECT_EQ(::prctl(PR_GET_DUMPABLE), 1);
}
