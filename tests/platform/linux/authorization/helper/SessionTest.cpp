// Requests that no honest program makes.

#include "platform/linux/authorization/helper/Session.h"

#include "tests/platform/linux/authorization/helper/HelperHarness.h"
#include "tests/platform/linux/authorization/helper/HungFileSystem.h"
#include "tests/support/NamedCase.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

using qf::native::helper::areYouThere;
using qf::native::helper::maximumArguments;
using qf::native::helper::maximumRequestSize;
using qf::native::helper::Status;

namespace {

using namespace std::string_literals;

std::string refusal(const std::string& reason) {
    return "refused a request of user 12345: " + reason;
}

} // namespace

class HelperRequest : public HelperTest {
protected:
    /// Sends bytes that must be refused with this status and one line in the system log, after
    /// which the helper serves on.
    static void expectRefusal(std::string_view message, Status status, const std::string& reason) {
        TestedHelper helper;
        EXPECT_EQ(helper.send(message).status, status);
        EXPECT_EQ(helper.nextLogLine(), refusal(reason));
        EXPECT_FALSE(helper.hasLogLine());
        EXPECT_EQ(helper.send(areYouThere).status, Status::ready);
    }
};

TEST_F(HelperRequest, IsRefusedWhenMalformed) {
    const std::string reason = "the request is malformed: ";
    expectRefusal("/bin/true", Status::requestMalformed, reason + "9 bytes");
    expectRefusal("/bin/true\0x"s, Status::requestMalformed, reason + "11 bytes");
    expectRefusal("\0/bin/true\0"s, Status::requestMalformed, reason + "11 bytes");
    expectRefusal("\0\0"s, Status::requestMalformed, reason + "2 bytes");
    expectRefusal("x", Status::requestMalformed, reason + "1 bytes");
}

TEST_F(HelperRequest, IsRefusedWhenItHasTooManyArguments) {
    std::string message = "/bin/true\0"s;
    for (std::size_t count = 0; count <= maximumArguments; ++count) {
        message += "a\0"s;
    }
    expectRefusal(message, Status::requestTooLarge, "the request is too large: 524 bytes");
}

struct LargeRequest : NamedCase {
    std::size_t size;
    const char* unit; // in the line of the log
};

class HelperRequestOfASize : public HelperRequest,
                             public testing::WithParamInterface<LargeRequest> {};

TEST_P(HelperRequestOfASize, IsRefused) {
    std::string message = "/bin/true\0"s;
    message.resize(GetParam().size - 1, 'x');
    message += '\0';
    expectRefusal(message, Status::requestTooLarge,
                  "the request is too large: " + std::to_string(GetParam().size) + GetParam().unit);
}

INSTANTIATE_TEST_SUITE_P(
    , HelperRequestOfASize,
    testing::Values(LargeRequest{{"TooLargeByOne"}, maximumRequestSize + 1, " bytes"},
                    LargeRequest{{"TooLargeByTwo"}, maximumRequestSize + 2, ""}),
    nameOfCase);

TEST_F(HelperRequest, IsRefusedWhenItIsTwoMebibytes) {
    TestedHelper helper;
    const int size = 8 << 20;
    ASSERT_EQ(::setsockopt(helper.connection(), SOL_SOCKET, SO_SNDBUFFORCE, &size, sizeof size), 0);
    std::string message = "/bin/true\0"s;
    message.resize(2U << 20U, 'x');
    message.back() = '\0';
    EXPECT_EQ(helper.send(message).status, Status::requestTooLarge);
    EXPECT_EQ(helper.outputOf("/bin/echo", {"still here"}), "still here\n");
}

TEST_F(HelperRequest, DropsDescriptorsThatComeWithIt) {
    TestedHelper helper;
    ASSERT_EQ(helper.send(areYouThere).status, Status::ready);
    const std::filesystem::path descriptors = "/proc/" + std::to_string(helper.process()) + "/fd";
    const auto count = [&] {
        return std::distance(std::filesystem::directory_iterator(descriptors), {});
    };
    const auto before = count();
    for (int round = 0; round < 10; ++round) {
        helper.sendWithDescriptor(areYouThere, STDIN_FILENO);
        EXPECT_EQ(helper.receive().status, Status::ready);
    }
    EXPECT_EQ(count(), before);
}

TEST_F(HelperRequest, IsAnsweredInTurnWhenSeveralAreSentAtOnce) {
    TestedHelper helper;
    for (int round = 0; round < 3; ++round) {
        ASSERT_GT(::send(helper.connection(), "x", 1, 0), 0);
        ASSERT_GT(::send(helper.connection(), areYouThere.data(), areYouThere.size(), 0), 0);
    }
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(helper.receive().status, Status::requestMalformed);
        EXPECT_EQ(helper.receive().status, Status::ready);
    }
}

TEST_F(HelperRequest, OfAProgramThatReadsNoAnswersEndsTheSession) {
    TestedHelper helper;
    while (::send(helper.connection(), areYouThere.data(), areYouThere.size(), MSG_NOSIGNAL) > 0) {
    }
    EXPECT_EQ(helper.waitForEnd(), 0);
}

/// On a file system that does not answer.
class HelperRequestHung : public HelperRequest {
protected:
    void SetUp() override {
        HelperRequest::SetUp();
        if (!IsSkipped()) {
            fileSystem_.emplace(makeDirectory(sandbox::rootsDirectory + "/hung"));
            if (!fileSystem_->isMounted()) {
                GTEST_SKIP() << "no FUSE file system can be mounted";
            }
            helper_.emplace(HelperSetup{.kind = HelperKind::impatient});
        }
    }

    static std::string givenUp() {
        return "given up, because a file system does not answer: process ";
    }
    /// Returns whether a process ends as soon as the system call does that it is in.
    static bool isKilled(const std::string& process) {
        std::ifstream status("/proc/" + process + "/status");
        const std::string all(std::istreambuf_iterator<char>(status), {});
        const auto pending = all.find("ShdPnd:");
        constexpr unsigned long bit = 1UL << static_cast<unsigned int>(SIGKILL - 1);
        return pending != std::string::npos &&
               (std::stoul(all.substr(pending + 7), nullptr, 16) & bit) != 0;
    }
    static std::string target() { return sandbox::rootsDirectory + "/target"; }
    std::string hungFile() const { return fileSystem_->file(); }
    TestedHelper& helper() { return *helper_; }

private:
    std::optional<HungFileSystem> fileSystem_;
    std::optional<TestedHelper> helper_;
};

TEST_F(HelperRequestHung, IsGivenUpInTheEnd) {
    const auto answer = helper().start("/bin/mv", {"-f", hungFile(), target()});
    ASSERT_EQ(answer.status, Status::started);
    EXPECT_EQ(readAll(answer.output.get()), "");
    const std::string line = helper().nextLogLine();
    ASSERT_TRUE(line.starts_with(givenUp())) << line;
    EXPECT_TRUE(isKilled(line.substr(givenUp().size())));
}

TEST_F(HelperRequestHung, DoesNotKeepTheHelperAlive) {
    ASSERT_EQ(helper().start("/bin/mv", {"-f", hungFile(), target()}).status, Status::started);
    helper().disconnect();
    EXPECT_EQ(helper().waitForEnd(), 0);
}

TEST_F(HelperRequestHung, KeepsNoTurnFromTheNext) {
    const auto hung = helper().start("/bin/mv", {"-f", hungFile(), target()});
    ASSERT_EQ(hung.status, Status::started);
    readAll(hung.output.get());
    const std::string item = makeFile(sandbox::everybodysDirectory + "/item");
    EXPECT_EQ(helper().run("/bin/mv", {"-f", item, target()}), Status::started);
    EXPECT_TRUE(exists(target()));
}

TEST_F(HelperRequestHung, IsRefusedWhenItCannotBegin) {
    EXPECT_EQ(helper().start("/bin/chmod", {"644", hungFile()}).status, Status::startFailed);
    EXPECT_EQ(helper().nextLogLine(),
              refusal("the tool cannot be started: /bin/chmod: a file system does not answer"));
    EXPECT_EQ(helper().send(areYouThere).status, Status::ready);
}

TEST_F(HelperRequest, IsRefusedWhenTheSystemHasNoMemoryToLookAtItsPaths) {
    TestedHelper helper({.mayLook = false});
    EXPECT_EQ(helper.start("/bin/true").status, Status::startFailed);
    EXPECT_EQ(helper.nextLogLine(),
              refusal("the tool cannot be started: /: " + std::to_string(ENOMEM)));
    EXPECT_EQ(helper.send(areYouThere).status, Status::ready);
}
