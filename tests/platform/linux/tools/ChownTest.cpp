#include "tests/support/NamedCase.h"
#include "tests/support/RunCommand.h"
#include "tests/support/TemporaryDirectory.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <utility>

namespace {

using Words = std::vector<std::string>;
using Owner = std::pair<uid_t, gid_t>;

constexpr const char* usage = "usage: chown OWNER[:GROUP] | :GROUP FILE...\n";

class Chown : public testing::Test {
protected:
    static Outcome chown(Words words, Words prefix = {}) {
        prefix.emplace_back(QF_CHOWN);
        prefix.insert(prefix.end(), words.begin(), words.end());
        return run(prefix);
    }
    static Owner ownerOf(const std::string& path) {
        struct stat status {};
        EXPECT_EQ(::lstat(path.c_str(), &status), 0);
        return {status.st_uid, status.st_gid};
    }
    static void skipUnlessRoot() {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "only root may give files away";
        }
    }

    TemporaryDirectory directory;
    std::string file = directory.write("file", "content");
};

} // namespace

class ChownMisuse : public Chown, public testing::WithParamInterface<Words> {};

TEST_P(ChownMisuse, TellsTheUsage) {
    const auto outcome = chown(GetParam());
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output, usage);
}

INSTANTIATE_TEST_SUITE_P(
    All, ChownMisuse,
    testing::ValuesIn(std::vector<Words>{
        {}, {"root"}, {"", "/a"}, {"root:", "/a"}, {":", "/a"}, {"-R", "root", "/a"}}));

struct GivenOwner : NamedCase {
    const char* owner;
    Owner expected;
};

class ChownTo : public Chown, public testing::WithParamInterface<GivenOwner> {};

TEST_P(ChownTo, GivesAFileAway) {
    skipUnlessRoot();
    ASSERT_EQ(::chown(file.c_str(), 7, 8), 0);
    const auto outcome = chown({GetParam().owner, file});
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(ownerOf(file), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(All, ChownTo,
                         testing::Values(GivenOwner{{"UserAndGroup"}, "daemon:nogroup", {1, 65534}},
                                         GivenOwner{{"User"}, "root", {0, 8}},
                                         GivenOwner{{"Group"}, ":root", {7, 0}},
                                         GivenOwner{{"Numbers"}, "1234:5678", {1234, 5678}},
                                         GivenOwner{{"NumberOfAUser"}, "0", {0, 8}},
                                         GivenOwner{{"NumberOfAGroup"}, ":0", {7, 0}}),
                         nameOfCase);

TEST_F(Chown, TakesTheAdministratorsGroupForThatOfRootWhereThereIsNone) {
    skipUnlessRoot();
    const auto* wheel = ::getgrnam("wheel");
    const gid_t expected = wheel == nullptr ? 0 : wheel->gr_gid;
    ASSERT_EQ(chown({"1234:5678", file}).status, 0);
    ASSERT_EQ(chown({"root:wheel", file}).status, 0);
    EXPECT_EQ(ownerOf(file), Owner(0, expected));
}

TEST_F(Chown, RefusesNamesThatNobodyHas) {
    const auto before = ownerOf(file);
    EXPECT_EQ(chown({"no-such-user", file}).output, "chown: there is no user “no-such-user”\n");
    EXPECT_EQ(chown({"0:no-such-group", file}).output,
              "chown: there is no group “no-such-group”\n");
    EXPECT_EQ(ownerOf(file), before);
}

class ChownToNobody : public Chown, public testing::WithParamInterface<NamedText> {};

TEST_P(ChownToNobody, FailsAndChangesNothing) {
    const auto before = ownerOf(file);
    EXPECT_NE(chown({GetParam().value, file}).status, 0);
    EXPECT_EQ(ownerOf(file), before);
}

INSTANTIATE_TEST_SUITE_P(All, ChownToNobody,
                         testing::Values(NamedText{{"NoNumber"}, "4294967295"},
                                         NamedText{{"TooLargeNumber"}, "4294967296"},
                                         NamedText{{"Negative"}, "-1"},
                                         NamedText{{"Hexadecimal"}, "0x0"},
                                         NamedText{{"Space"}, "1 "}, NamedText{{"Lines"}, "a\nb"},
                                         NamedText{{"ThreeParts"}, "0:0:0"}),
                         nameOfCase);

TEST_F(Chown, TriesEveryFile) {
    skipUnlessRoot();
    const auto missing = directory / "missing";
    const auto outcome = chown({"1234:5678", missing, file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "chown: “" + missing +
                                  "” couldn’t be given to another owner because it doesn’t "
                                  "exist.\n");
    EXPECT_EQ(ownerOf(file), Owner(1234, 5678));
}

TEST_F(Chown, RefusesALinkAndLeavesWhatItLeadsTo) {
    const auto before = ownerOf(file);
    std::filesystem::create_symlink(file, directory / "link");
    const auto outcome = chown({"1234:5678", directory / "link"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.output.find("because it is a link"), std::string::npos) << outcome.output;
    EXPECT_EQ(ownerOf(file), before);
    EXPECT_EQ(ownerOf(directory / "link"), before);
}

class ChownOfALink : public Chown, public testing::WithParamInterface<NamedText> {};

TEST_P(ChownOfALink, IsRefusedHoweverManySlashesFollow) {
    const auto target = directory.makeDirectory("target");
    std::filesystem::create_directory_symlink(target, directory / "link");
    const auto before = ownerOf(target);
    const auto outcome = chown({"1234:5678", directory / GetParam().value});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.output.find("because it is a link"), std::string::npos) << outcome.output;
    EXPECT_EQ(ownerOf(target), before);
    EXPECT_EQ(ownerOf(directory / "link"), before);
}

INSTANTIATE_TEST_SUITE_P(All, ChownOfALink,
                         testing::Values(NamedText{{"None"}, "link"}, NamedText{{"One"}, "link/"},
                                         NamedText{{"Two"}, "link//"}),
                         nameOfCase);

TEST_F(Chown, TakesEveryWordBehindTheOwnerForAPath) {
    skipUnlessRoot();
    const auto below = directory.write("-R/file", "content");
    const Words names = {"-R", "--", "--reference=file", "*", "$(id)", "two\nlines"};
    for (const auto& name : names) {
        if (name != "-R") {
            directory.write(name);
        }
    }
    Words command = {"1234:5678"};
    command.insert(command.end(), names.begin(), names.end());
    const auto outcome = chown(command, {"env", "-C", directory.path()});
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    for (const auto& name : names) {
        EXPECT_EQ(ownerOf(directory / name), Owner(1234, 5678)) << name;
    }
    EXPECT_EQ(ownerOf(below), ownerOf(file));
}

TEST_F(Chown, ChangesNothingButTheItemThatAPathEndsAt) {
    skipUnlessRoot();
    const auto inner = directory.makeDirectory("outer/inner");
    EXPECT_EQ(chown({"1234:5678", inner + "/.."}).status, 0);
    EXPECT_EQ(ownerOf(directory / "outer"), Owner(1234, 5678));
    EXPECT_EQ(chown({"1:1", directory / "outer/"}).status, 0);
    EXPECT_EQ(ownerOf(directory / "outer"), Owner(1, 1));
    EXPECT_EQ(ownerOf(inner), ownerOf(file));
    EXPECT_EQ(ownerOf(directory.path()), ownerOf(file));
    EXPECT_EQ(chown({"1234:5678", ""}).status, 1);
}

TEST_F(Chown, TellsThatItIsNotAllowed) {
    std::filesystem::permissions(directory.path(), std::filesystem::perms(0755));
    const auto outcome = chown({"0:0", file}, asOrdinaryUser());
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.output.find("you don’t have permission"), std::string::npos)
        << outcome.output;
}
