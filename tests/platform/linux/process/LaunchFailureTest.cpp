#include "platform/linux/process/LaunchFailure.h"

#include "platform/linux/process/ProcessLauncher.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace {

using qf::ProcessDescription;
using qf::native::Errno;
using qf::native::launchFailure;

class LaunchFailure : public testing::Test {
protected:
    /// Returns the reason of a launch that must fail, after checking the exception's name.
    std::string reasonOf(const ProcessDescription& description) {
        try {
            launcher_.launch(description);
        } catch (const qf::Exception& exception) {
            EXPECT_EQ(exception.name(), "NSInvalidArgumentException");
            return exception.reason();
        }
        return "launched";
    }
    std::string reasonOf(const std::string& path) {
        ProcessDescription description;
        description.launchPath = path;
        return reasonOf(description);
    }
    std::string tool(const std::string& content, mode_t mode = S_IRWXU) const {
        auto path = directory_.write("tool", content);
        ::chmod(path.c_str(), mode);
        return path;
    }
    /// Returns what follows the tool's path in the reason.
    std::string reasonOfTool(const std::string& content, mode_t mode = S_IRWXU) {
        const auto path = tool(content, mode);
        auto reason = reasonOf(path);
        const auto beginning = path + " could not be launched: ";
        EXPECT_TRUE(reason.starts_with(beginning)) << reason;
        return reason.substr(std::min(beginning.size(), reason.size()));
    }

    const TemporaryDirectory directory_;
    qf::native::ProcessLauncher launcher_;
};

TEST_F(LaunchFailure, NamesAPathWhereNothingIs) {
    const auto path = directory_ / "missing";
    EXPECT_EQ(reasonOf(path), path + " could not be launched: no file exists at that path");
}

TEST_F(LaunchFailure, NamesAMissingLaunchPath) {
    EXPECT_EQ(reasonOf(""), "the task has no launch path");
}

TEST_F(LaunchFailure, NamesALinkThatLeadsToNothing) {
    const auto path = directory_ / "link";
    std::filesystem::create_symlink("nowhere", path);
    EXPECT_EQ(reasonOf(path), path + " could not be launched: the link leads to nothing");
}

TEST_F(LaunchFailure, NamesAFileOnThePath) {
    const auto path = directory_.write("file") + "/tool";
    EXPECT_EQ(reasonOf(path),
              path + " could not be launched: a part of its path is a file, not a folder");
}

TEST_F(LaunchFailure, NamesADirectory) {
    EXPECT_EQ(reasonOf(directory_.path()),
              directory_.path() + " could not be launched: it is a folder, not a program");
}

TEST_F(LaunchFailure, NamesAFileThatIsNotExecutable) {
    EXPECT_EQ(reasonOfTool("#!/bin/sh\n", S_IRUSR), "the file is not executable");
}

TEST_F(LaunchFailure, NamesAnInterpreterThatIsMissing) {
    EXPECT_EQ(reasonOfTool("#! /no/interpreter  -x\necho\n"),
              "its interpreter \"/no/interpreter\" does not exist");
}

TEST_F(LaunchFailure, NamesAnInterpreterThatIsNotExecutable) {
    const auto interpreter = directory_.write("interpreter");
    EXPECT_EQ(reasonOfTool("#!" + interpreter + "\n"),
              "its interpreter \"" + interpreter + "\" is not executable");
}

TEST_F(LaunchFailure, NamesAFileThatIsNoProgram) {
    EXPECT_EQ(reasonOfTool("echo\n"), "the file is not a program that this machine can run");
}

TEST_F(LaunchFailure, NamesArgumentsThatAreTooLong) {
    ProcessDescription description;
    description.launchPath = "/bin/sh";
    description.arguments.assign(1, std::string(8U << 20U, 'x'));
    EXPECT_EQ(reasonOf(description), "/bin/sh could not be launched: its arguments and environment "
                                     "are longer than the system allows");
}

TEST_F(LaunchFailure, NamesTheStringWithAZeroByte) {
    const std::string zero("a\0b", 3);
    EXPECT_EQ(reasonOf(zero), "the launch path contains a zero byte: a\\x00b");
    ProcessDescription description;
    description.launchPath = "/bin/sh";
    description.arguments = {"-c", zero};
    EXPECT_EQ(reasonOf(description), "argument 2 contains a zero byte: a\\x00b");
    description.arguments.clear();
    description.environment = {{"NAME", zero}};
    EXPECT_EQ(reasonOf(description), "the environment variable NAME contains a zero byte: a\\x00b");
    description.environment = {{zero, "value"}};
    EXPECT_EQ(reasonOf(description),
              "the name of an environment variable contains a zero byte: a\\x00b");
}

class LaunchFailureByVariable : public LaunchFailure,
                                public testing::WithParamInterface<NamedText> {};

TEST_P(LaunchFailureByVariable, RefusesANameThatNoneCanHave) {
    ProcessDescription description;
    description.launchPath = "/bin/sh";
    description.environment = {{GetParam().value, "value"}};
    EXPECT_EQ(reasonOf(description),
              "an environment variable cannot have the name \"" + GetParam().value + "\"");
}

INSTANTIATE_TEST_SUITE_P(, LaunchFailureByVariable,
                         testing::Values(NamedText{{"Empty"}, ""},
                                         NamedText{{"EqualsSign"}, "A=B"}),
                         nameOfCase);

TEST_F(LaunchFailure, MakesThePathPrintable) {
    EXPECT_EQ(reasonOf("/no/\n\xFF"),
              "/no/\\x0A\\xFF could not be launched: no file exists at that "
              "path");
}

struct Lack : NamedCase {
    int error;
    const char* reason;
};

class LackingSystem : public testing::TestWithParam<Lack> {};

TEST_P(LackingSystem, IsTheReasonOfALaunchFailure) {
    const auto exception = launchFailure(Errno(GetParam().error), "/bin/tool", "/bin/tool");
    EXPECT_EQ(exception.name(), "NSGenericException");
    EXPECT_EQ(exception.reason(),
              std::string("/bin/tool could not be launched: ") + GetParam().reason);
}

INSTANTIATE_TEST_SUITE_P(
    All, LackingSystem,
    testing::Values(Lack{{"Processes"},
                         EAGAIN,
                         "the system or the user has no process left; close other programs"},
                    Lack{{"Memory"}, ENOMEM, "there is not enough memory for another process"},
                    Lack{{"FilesOfTheProgram"}, EMFILE, "the program has too many files open"},
                    Lack{{"FilesOfTheSystem"}, ENFILE, "the system has too many files open"}),
    nameOfCase);

TEST_F(LaunchFailure, ReportsAnythingElseInTheSystemsWords) {
    EXPECT_EQ(launchFailure(Errno(EIO), "/bin/tool", "/bin/tool").reason(),
              "/bin/tool could not be launched: Input/output error");
}

} // namespace
