#include "tests/support/NamedCase.h"
#include "tests/support/RunCommand.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/xattr.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>

namespace {

using Words = std::vector<std::string>;

constexpr const char* xattrUsage =
    "usage: xattr [-l] FILE... | -p NAME FILE... | -w NAME VALUE FILE... "
    "| -d NAME FILE...\n";
constexpr const char* progress = "com.apple.progress.fractionCompleted";

class Xattr : public testing::Test {
protected:
    void SetUp() override {
        if (::setxattr(directory.path().c_str(), "user.test", "", 0, 0) != 0) {
            GTEST_SKIP() << "no extended attributes in " << directory.path() << ": "
                         << std::strerror(errno);
        }
    }

    static Outcome xattr(Words words) {
        words.insert(words.begin(), QF_XATTR);
        return run(words);
    }
    static std::optional<std::string> attribute(const std::string& path, const std::string& name) {
        std::array<char, 256> value{};
        const auto size = ::getxattr(path.c_str(), name.c_str(), value.data(), value.size());
        return size < 0 ? std::nullopt
                        : std::optional(std::string(value.data(), static_cast<std::size_t>(size)));
    }

    TemporaryDirectory directory;
    std::string file = directory.write("file", "content");
};

} // namespace

class XattrMisuse : public Xattr, public testing::WithParamInterface<Words> {};

TEST_P(XattrMisuse, TellsTheUsage) {
    const auto outcome = xattr(GetParam());
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output, xattrUsage);
}

INSTANTIATE_TEST_SUITE_P(All, XattrMisuse,
                         testing::ValuesIn(std::vector<Words>{{},
                                                              {"-w"},
                                                              {"-w", "name"},
                                                              {"-w", "name", "value"},
                                                              {"-d"},
                                                              {"-d", "name"},
                                                              {"-p", "name"},
                                                              {"-l"},
                                                              {"-z", "/"},
                                                              {"--help"}}));

TEST_F(Xattr, WritesIntoTheNamespaceOfUsers) {
    const auto outcome = xattr({"-w", progress, "0.500", file});
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(attribute(file, std::string("user.") + progress), "0.500");
    EXPECT_EQ(run({"getfattr", "--absolute-names", "--only-values", "-n",
                   std::string("user.") + progress, file})
                  .output,
              "0.500");
}

TEST_F(Xattr, MapsEveryNameInTheSameWay) {
    EXPECT_EQ(xattr({"-w", "user.name", "a", file}).status, 0);
    EXPECT_EQ(xattr({"-w", "name", "b", file}).status, 0);
    EXPECT_EQ(attribute(file, "user.user.name"), "a");
    EXPECT_EQ(attribute(file, "user.name"), "b");
}

TEST_F(Xattr, ReplacesAValue) {
    EXPECT_EQ(xattr({"-w", "name", "a long value", file}).status, 0);
    EXPECT_EQ(xattr({"-w", "name", "", file}).status, 0);
    EXPECT_EQ(attribute(file, "user.name"), "");
}

TEST_F(Xattr, TakesValuesAndNamesThatLookLikeOptions) {
    EXPECT_EQ(xattr({"-w", "-d", "-1.000", file}).status, 0);
    EXPECT_EQ(attribute(file, "user.-d"), "-1.000");
    EXPECT_EQ(xattr({"-d", "-d", file}).status, 0);
    EXPECT_EQ(attribute(file, "user.-d"), std::nullopt);
}

TEST_F(Xattr, DeletesAnAttribute) {
    ASSERT_EQ(xattr({"-w", progress, "0.500", file}).status, 0);
    EXPECT_EQ(xattr({"-d", progress, file}).status, 0);
    EXPECT_EQ(attribute(file, std::string("user.") + progress), std::nullopt);
}

class XattrOfAMissingAttribute : public Xattr, public testing::WithParamInterface<NamedText> {};

TEST_P(XattrOfAMissingAttribute, TellsThatItIsMissing) {
    const auto outcome = xattr({GetParam().value, "name", file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "xattr: " + file + ": No such xattr: name\n");
}

INSTANTIATE_TEST_SUITE_P(, XattrOfAMissingAttribute,
                         testing::Values(NamedText{{"Deleted"}, "-d"},
                                         NamedText{{"Printed"}, "-p"}),
                         nameOfCase);

TEST_F(Xattr, TellsThatAFileIsMissingAndTriesTheOthers) {
    const auto missing = directory / "missing";
    const auto outcome = xattr({"-w", "name", "value", missing, file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output,
              "xattr: “" + missing + "” couldn’t be changed because it doesn’t exist.\n");
    EXPECT_EQ(attribute(file, "user.name"), "value");
    const auto listed = xattr({missing});
    EXPECT_EQ(listed.status, 1);
    EXPECT_EQ(listed.output,
              "xattr: “" + missing + "” couldn’t be read because it doesn’t exist.\n");
}

TEST_F(Xattr, ShowsValues) {
    ASSERT_EQ(xattr({"-w", "text", "Ünï cödé", file}).status, 0);
    ASSERT_EQ(::setxattr(file.c_str(), "user.bytes", "\x00\n\xFF", 3, 0), 0);
    EXPECT_EQ(xattr({"-p", "text", file}).output, "Ünï cödé\n");
    EXPECT_EQ(xattr({"-p", "bytes", file}).output, "0x000aff\n");
    EXPECT_EQ(xattr({"-l", file}).output, "bytes: 0x000aff\ntext: Ünï cödé\n");
    EXPECT_EQ(xattr({file}).output, "bytes\ntext\n");
}

TEST_F(Xattr, ShowsAnEmptyValue) {
    ASSERT_EQ(xattr({"-w", "name", "", file}).status, 0);
    const auto shown = xattr({"-p", "name", file});
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.output, "\n");
}

TEST_F(Xattr, TellsSeveralFilesApart) {
    const auto other = directory.write("other");
    ASSERT_EQ(xattr({"-w", "a", "1", file, other}).status, 0);
    EXPECT_EQ(xattr({"-p", "a", file, other}).output, file + ": 1\n" + other + ": 1\n");
    EXPECT_EQ(xattr({"-l", file, other}).output, file + ": a: 1\n" + other + ": a: 1\n");
}

TEST_F(Xattr, FollowsLinks) {
    std::filesystem::create_symlink(file, directory / "link");
    EXPECT_EQ(xattr({"-w", "name", "value", directory / "link"}).status, 0);
    EXPECT_EQ(attribute(file, "user.name"), "value");
}

TEST_F(Xattr, TellsThatANameOrAValueIsTooLong) {
    EXPECT_EQ(xattr({"-w", std::string(300, 'a'), "value", file}).status, 1);
    EXPECT_EQ(xattr({"-w", "name", std::string(100'000, 'a'), file}).status, 1);
}

TEST_F(Xattr, FailsWhereItsAnswerCannotBeWritten) {
    const auto outcome =
        run({"sh", "-c", R"("$0" -l "$1" >/dev/full)", QF_XATTR, directory.path()});
    EXPECT_EQ(outcome.status, 1);
}
