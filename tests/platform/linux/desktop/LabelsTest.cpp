#include "platform/linux/desktop/Labels.h"

#include "tests/support/NamedCase.h"
#include "tests/support/RunCommand.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>

using qf::native::readLabel;
using qf::native::writeLabel;

namespace {

constexpr const char* attribute = "user.com.apple.FinderInfo";

class Labels : public testing::Test {
protected:
    void SetUp() override {
        if (::setxattr(directory.path().c_str(), "user.test", "", 0, 0) != 0) {
            GTEST_SKIP() << "no extended attributes in " << directory.path() << ": "
                         << std::strerror(errno);
        }
    }

    static std::string valueOf(const std::string& path) {
        std::array<char, 64> value{};
        const auto size = ::getxattr(path.c_str(), attribute, value.data(), value.size());
        return size < 0 ? "none" : std::string(value.data(), static_cast<std::size_t>(size));
    }

    TemporaryDirectory directory;
    std::string file = directory.write("file", "content");
};

} // namespace

class EveryLabel : public Labels, public testing::WithParamInterface<NamedText> {};

TEST_P(EveryLabel, ReadsAsItWasWritten) {
    directory.makeDirectory("a folder");
    const auto path = directory / GetParam().value;
    EXPECT_EQ(readLabel(path), 0);
    for (int label = 0; label <= 7; ++label) {
        EXPECT_TRUE(writeLabel(path, label)) << label;
        EXPECT_EQ(readLabel(path), label);
    }
}

INSTANTIATE_TEST_SUITE_P(All, EveryLabel,
                         testing::Values(NamedText{{"OfAFile"}, "file"},
                                         NamedText{{"OfADirectory"}, "a folder"}),
                         nameOfCase);

TEST_F(Labels, StandInBitsOneToThreeOfTheFlags) {
    for (int label = 1; label <= 7; ++label) {
        ASSERT_TRUE(writeLabel(file, label));
        std::string expected(32, '\0');
        expected[9] = static_cast<char>(label << 1);
        EXPECT_EQ(valueOf(file), expected) << label;
    }
}

TEST_F(Labels, OtherToolsSeeThem) {
    ASSERT_TRUE(writeLabel(file, 6));
    const auto outcome =
        run({"getfattr", "--absolute-names", "-n", attribute, "-e", "hex", "--only-values", file});
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_EQ(outcome.output, valueOf(file));
    const auto shown = run({"getfattr", "--absolute-names", "-n", attribute, "-e", "hex", file});
    EXPECT_NE(shown.output.find("=0x0000000000000000000c" + std::string(44, '0')),
              std::string::npos)
        << shown.output;
}

TEST_F(Labels, LeaveTheOtherBitsAsTheyAre) {
    std::string information(32, '\xFF');
    ASSERT_EQ(::setxattr(file.c_str(), attribute, information.data(), information.size(), 0), 0);
    EXPECT_EQ(readLabel(file), 7);
    ASSERT_TRUE(writeLabel(file, 2));
    information[9] = '\xF5';
    EXPECT_EQ(valueOf(file), information);
    ASSERT_TRUE(writeLabel(file, 0));
    information[9] = '\xF1';
    EXPECT_EQ(valueOf(file), information);
}

TEST_F(Labels, ThatAreTakenAwayLeaveNothingBehind) {
    ASSERT_TRUE(writeLabel(file, 3));
    ASSERT_TRUE(writeLabel(file, 0));
    EXPECT_EQ(valueOf(file), "none");
    EXPECT_TRUE(writeLabel(file, 0));
}

class LabelAttributeOfAnotherSize : public Labels,
                                    public testing::WithParamInterface<std::size_t> {};

TEST_P(LabelAttributeOfAnotherSize, HasNoLabelAndIsReplaced) {
    const std::string value(GetParam(), '\xFF');
    ASSERT_EQ(::setxattr(file.c_str(), attribute, value.data(), value.size(), 0), 0);
    EXPECT_EQ(readLabel(file), 0);
    ASSERT_TRUE(writeLabel(file, 1));
    EXPECT_EQ(valueOf(file), std::string(9, '\0') + '\x02' + std::string(22, '\0'));
}

INSTANTIATE_TEST_SUITE_P(Size, LabelAttributeOfAnotherSize, testing::Values(0, 10, 33));

class LabelBeyondTheLast : public Labels, public testing::WithParamInterface<int> {};

TEST_P(LabelBeyondTheLast, IsRefused) {
    ASSERT_TRUE(writeLabel(file, 5));
    const auto written = writeLabel(file, GetParam());
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().code, EINVAL);
    EXPECT_EQ(readLabel(file), 5);
}

INSTANTIATE_TEST_SUITE_P(Number, LabelBeyondTheLast, testing::Values(-1, 8, 256, 1 << 20));

TEST_F(Labels, OfAMissingItemAreAnError) {
    EXPECT_EQ(readLabel(directory / "missing"), std::nullopt);
    const auto written = writeLabel(directory / "missing", 1);
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().code, ENOENT);
    EXPECT_EQ(written.error().localizedDescription,
              "“missing” couldn’t be labelled because it doesn’t exist.");
}

TEST_F(Labels, OfALinkAreNotThoseOfItsTarget) {
    ASSERT_TRUE(writeLabel(file, 5));
    std::filesystem::create_symlink(file, directory / "link");
    EXPECT_NE(readLabel(directory / "link"), 5);
    EXPECT_FALSE(writeLabel(directory / "link", 2));
    EXPECT_EQ(readLabel(file), 5);
}

TEST_F(Labels, KeepTheModificationDate) {
    const auto before = std::filesystem::last_write_time(file) - std::chrono::hours(1);
    std::filesystem::last_write_time(file, before);
    ASSERT_TRUE(writeLabel(file, 5));
    EXPECT_EQ(std::filesystem::last_write_time(file), before);
}
