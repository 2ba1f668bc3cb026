// What the helper and its tools write to the system log.

#include "platform/linux/authorization/helper/SystemLog.h"

#include "tests/platform/linux/authorization/helper/HelperHarness.h"

using qf::native::helper::longestLogLine;
using qf::native::helper::Status;

using HelperLog = HelperTest;

TEST_F(HelperLog, IsLoggedAsOneShortPrintableLine) {
    TestedHelper helper;
    const std::string tool = "/" + std::string(5000, 'x');
    EXPECT_EQ(helper.start("evil\nroot: all is well\x1b[2J").status, Status::toolNotAbsolute);
    EXPECT_EQ(helper.nextLogLine(), "refused a request of user 12345: the tool's path is relative: "
                                    "evil\\x0aroot: all is well\\x1b[2J");
    EXPECT_EQ(helper.start(tool).status, Status::toolMissing);
    EXPECT_LT(helper.nextLogLine().size(), longestLogLine + 10);
}

TEST_F(HelperLog, SpeaksToTheSystemLogInPrintableLines) {
    TestedHelper helper;
    helper.run("/bin/sh", {"-c", "printf 'one\\033[2J\\ntwo\\n' >&2"});
    EXPECT_EQ(helper.nextLogLine(), "one\\x1b[2J");
    EXPECT_EQ(helper.nextLogLine(), "two");
}

TEST_F(HelperLog, IsHeardToTheEndOfItsLastLine) {
    TestedHelper helper;
    helper.run("/bin/sh", {"-c", "printf 'one\ntwo' >&2"});
    helper.disconnect();
    EXPECT_EQ(helper.waitForEnd(), 0);
    EXPECT_EQ(helper.nextLogLine(), "one");
    EXPECT_EQ(helper.nextLogLine(), "two");
}
