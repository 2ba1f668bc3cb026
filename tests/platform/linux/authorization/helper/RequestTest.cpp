// Requests that no honest program makes.

#include "tests/platform/linux/authorization/helper/HelperHarness.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

using platform::native::helper::areYouThere;
using platform::native::helper::maximumArguments;
using platform::native::helper::maximumRequestSize;
using platform::native::helper::Status;

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

    static void expectToolRefusal(const std::string& tool, Status status,
                                  const std::string& reason) {
        expectRefusal(tool + '\0', status, reason + ": " + tool);
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

TEST_F(HelperRequest, IsRefusedWhenItIsLarge) {
    for (const std::size_t size : {maximumRequestSize + 1, maximumRequestSize + 2}) {
        std::string message = "/bin/true\0"s;
        message.resize(size - 1, 'x');
        message += '\0';
        expectRefusal(message, Status::requestTooLarge,
                      "the request is too large: " + std::to_string(size) +
                          (size == maximumRequestSize + 1 ? " bytes" : ""));
    }
}

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

TEST_F(HelperRequest, IsLoggedAsOneShortPrintableLine) {
    TestedHelper helper;
    const std::string tool = "/" + std::string(5000, 'x');
    EXPECT_EQ(helper.start("evil\nroot: all is well\x1b[2J").status, Status::toolNotAbsolute);
    EXPECT_EQ(helper.nextLogLine(), refusal("the tool's path is relative: "
                                            "evil\\x0aroot: all is well\\x1b[2J"));
    EXPECT_EQ(helper.start(tool).status, Status::toolMissing);
    EXPECT_LT(helper.nextLogLine().size(), 500U);
}

TEST_F(HelperRequest, ForARelativeToolIsRefused) {
    expectToolRefusal("bin/true", Status::toolNotAbsolute, "the tool's path is relative");
    expectToolRefusal("true", Status::toolNotAbsolute, "the tool's path is relative");
    expectToolRefusal("../bin/true", Status::toolNotAbsolute, "the tool's path is relative");
}

TEST_F(HelperRequest, ForWhatIsNoToolIsRefused) {
    expectToolRefusal("/no/such/tool", Status::toolMissing, "there is no such tool");
    expectToolRefusal("/usr", Status::toolMissing, "there is no such tool");
    expectToolRefusal(makeFile(sandbox::rootsDirectory + "/file"), Status::toolMissing,
                      "there is no such tool");
}

TEST_F(HelperRequest, ForAToolThatOthersMayChangeIsRefused) {
    const std::string reason = "others than root may change the tool or its way";
    const std::string root = sandbox::rootsDirectory;
    expectToolRefusal(makeFile(root + "/users", servedUser, 0755), Status::toolNotTrusted, reason);
    expectToolRefusal(makeFile(root + "/groups", 0, 0775), Status::toolNotTrusted, reason);
    expectToolRefusal(makeFile(root + "/everybodys", 0, 0757), Status::toolNotTrusted, reason);
    expectToolRefusal(makeFile(usersDirectory() + "/roots", 0, 0755), Status::toolNotTrusted,
                      reason);
    expectToolRefusal(makeFile(sandbox::everybodysDirectory + "/roots", 0, 0755),
                      Status::toolNotTrusted, reason);
}

TEST_F(HelperRequest, ForAToolByWayOfAUsersLinkIsRefused) {
    const std::string reason = "others than root may change the tool or its way";
    expectToolRefusal(makeLink("/bin/true", usersDirectory() + "/link", 0), Status::toolNotTrusted,
                      reason);
    expectToolRefusal(makeLink("/bin/true", sandbox::rootsDirectory + "/link", servedUser),
                      Status::toolNotTrusted, reason);
    expectToolRefusal(usersDirectory() + "/../../bin/true", Status::toolNotTrusted, reason);
}

TEST_F(HelperRequest, ForAToolByWayOfRootsLinksIsGranted) {
    TestedHelper helper;
    const std::string first = makeLink("second", sandbox::rootsDirectory + "/first", 0);
    makeLink("../bin/../bin/echo", sandbox::rootsDirectory + "/second", 0);
    EXPECT_EQ(helper.outputOf(first, {"hello"}), "hello\n");
}

TEST_F(HelperRequest, ForAnInterpretersScriptIsRefused) {
    const std::string script = makeFile(sandbox::rootsDirectory + "/script", 0, 0755);
    std::ofstream(script) << "#!/bin/sh\necho hello\n";
    TestedHelper helper;
    EXPECT_EQ(helper.start(script).status, Status::startFailed);
    EXPECT_EQ(helper.nextLogLine(),
              refusal("the tool cannot be started: " + script + ": " + std::to_string(ENOENT)));
}

TEST_F(HelperRequest, ForALinkThatLeadsToItselfIsRefused) {
    expectToolRefusal(makeLink("loop", sandbox::rootsDirectory + "/loop", 0), Status::toolMissing,
                      "there is no such tool");
}

TEST_F(HelperRequest, IsRefusedWhenTheSystemHasNoMemoryToLookAtItsPaths) {
    TestedHelper helper({.mayLook = false});
    EXPECT_EQ(helper.start("/bin/true").status, Status::startFailed);
    EXPECT_EQ(helper.nextLogLine(),
              refusal("the tool cannot be started: /: " + std::to_string(ENOMEM)));
    EXPECT_EQ(helper.send(areYouThere).status, Status::ready);
}
