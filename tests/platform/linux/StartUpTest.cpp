#include "tests/platform/linux/RunChild.h"
#include "tests/support/NamedCase.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

TEST(StartUp, LeavesNoPortWithoutAnImplementation) {
    EXPECT_EQ(runChild({"missing-ports"}).output, "");
}

TEST(StartUp, KeepsAHomeDirectoryThatIsUsable) {
    EXPECT_EQ(runChild({"environment"}, {"HOME=/home/other", "XDG_DATA_HOME=/data"}).output,
              "/home/other\n/data\n");
}

TEST(StartUp, PutsTheAccountsHomeDirectoryInThePlaceOfAMissingOne) {
    EXPECT_EQ(runChild({"environment"}).output,
              std::string(::getpwuid(::getuid())->pw_dir) + "\nnone\n");
}

TEST(StartUp, PutsTheAccountsHomeDirectoryInThePlaceOfARelativeOneAndSaysSo) {
    const std::string home = ::getpwuid(::getuid())->pw_dir;

    const auto output = runChild({"environment"}, {"HOME=here", "XDG_DATA_HOME=there"}).output;

    EXPECT_NE(output.find("HOME is “here”, which is not an absolute path. Using “" + home +
                          "” instead.\n"),
              std::string::npos)
        << output;
    EXPECT_TRUE(output.ends_with(home + "\nnone\n")) << output;
}

class StartUpWithAClosedStream : public testing::TestWithParam<NamedText> {};

TEST_P(StartUpWithAClosedStream, LeavesNoNumberOfOneForAFile) {
    const auto outcome =
        runChild({"closed-streams"}, {}, {"sh", "-c", "exec \"$@\" " + GetParam().value, "sh"});
    EXPECT_EQ(outcome.status, 0);
}

INSTANTIATE_TEST_SUITE_P(, StartUpWithAClosedStream,
                         testing::Values(NamedText{{"Input"}, "<&-"}, NamedText{{"Output"}, ">&-"},
                                         NamedText{{"Errors"}, "2>&-"},
                                         NamedText{{"All"}, "<&- >&- 2>&-"}),
                         nameOfCase);

TEST(StartUp, LetsNothingBeWrittenToAClosedStream) {
    const auto statusWith = [](const std::string& closing) {
        return runChild({"failing-output"}, {}, {"sh", "-c", "exec \"$@\" " + closing, "sh"})
            .status;
    };
    EXPECT_EQ(statusWith(">&-"), 1);
    EXPECT_EQ(statusWith(">/dev/null"), 0);
}
