#include "platform/linux/tools/launchctl/JobFile.h"

#include "platform/linux/tools/Tool.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

namespace qf::native::launchctl {
namespace {

constexpr const char* smallJob =
    "<plist version=\"1.0\"><dict><key>Label</key><string>a</string></dict></plist>";

std::string errorOf(const std::string& path, MustBeSafe mustBeSafe = MustBeSafe::yes) {
    try {
        readJobFile(path, mustBeSafe);
        return "no error";
    } catch (const qf::native::tool::ToolError& error) {
        return error.what();
    }
}

class JobFile : public testing::Test {
protected:
    TemporaryDirectory directory;
    std::string path = directory / "a.plist";
};

TEST_F(JobFile, IsAPropertyList) {
    directory.write("a.plist", smallJob);
    EXPECT_EQ(readJobFile(path, MustBeSafe::yes)["Label"], Value("a"));
}

TEST_F(JobFile, MayBeALink) {
    directory.write("b.plist", smallJob);
    std::filesystem::create_symlink("b.plist", path);
    EXPECT_EQ(readJobFile(path, MustBeSafe::yes)["Label"], Value("a"));
}

TEST_F(JobFile, ThatIsGoneIsAnError) {
    EXPECT_EQ(errorOf(path), path + ": No such file or directory");
}

TEST_F(JobFile, OfNoNameIsAnError) {
    EXPECT_EQ(errorOf(""), ": No such file or directory");
}

TEST_F(JobFile, ThatIsADirectoryIsAnError) {
    EXPECT_EQ(errorOf(directory.path()), directory.path() + ": Not a regular file");
}

TEST_F(JobFile, ThatIsAPipeIsAnErrorAtOnce) {
    ASSERT_EQ(::mkfifo(path.c_str(), 0644), 0);
    EXPECT_EQ(errorOf(path), path + ": Not a regular file");
}

TEST_F(JobFile, OfGarbageIsAnError) {
    directory.write("a.plist", std::string(1000, '\xFF'));
    EXPECT_EQ(errorOf(path), path + ": Invalid property list");
    directory.write("a.plist", "");
    EXPECT_EQ(errorOf(path), path + ": Invalid property list");
}

TEST_F(JobFile, NestedAThousandDeepIsAnError) {
    std::string text = "<plist version=\"1.0\">";
    for (int i = 0; i < 1000; ++i) {
        text += "<array>";
    }
    for (int i = 0; i < 1000; ++i) {
        text += "</array>";
    }
    directory.write("a.plist", text + "</plist>");
    EXPECT_EQ(errorOf(path), path + ": Invalid property list");
}

class SharedJobFile : public JobFile, public testing::WithParamInterface<NamedValue<mode_t>> {};

TEST_P(SharedJobFile, IsUnsafe) {
    directory.write("a.plist", smallJob);
    ASSERT_EQ(::chmod(path.c_str(), GetParam().value), 0);
    EXPECT_EQ(errorOf(path), path + ": Path had bad ownership/permissions");
    EXPECT_EQ(errorOf(path, MustBeSafe::no), "no error");
}

INSTANTIATE_TEST_SUITE_P(All, SharedJobFile,
                         testing::Values(NamedValue<mode_t>{{"WithItsGroup"}, 0664},
                                         NamedValue<mode_t>{{"WithEverybody"}, 0646}),
                         nameOfCase);

TEST_F(JobFile, OfAnotherUserIsUnsafe) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    directory.write("a.plist", smallJob);
    ASSERT_EQ(::chown(path.c_str(), 65534, 65534), 0);
    EXPECT_EQ(errorOf(path), path + ": Path had bad ownership/permissions");
    EXPECT_EQ(errorOf(path, MustBeSafe::no), "no error");
}

} // namespace
} // namespace qf::native::launchctl
