#include "platform/linux/system/LoginAccounts.h"

#include "tests/support/NamedCase.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <linux/keyctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

using qf::native::AccountEntry;
using qf::native::LoginAccounts;
using qf::native::loginAccounts;
using qf::native::UserIdRange;

namespace {

constexpr uid_t least = 1000;
constexpr UserIdRange people{.least = least, .most = 5000};
constexpr uid_t anna = 4001;
constexpr uid_t ben = 4002;

class LoginAccountsTest : public testing::Test {
protected:
    void SetUp() override {
        if (::getuid() != 0) {
            GTEST_SKIP() << "only root can give a directory to another account";
        }
    }

    std::string makeHome(const std::string& name, uid_t owner) {
        const auto home = directory_.makeDirectory(name);
        EXPECT_EQ(::chown(home.c_str(), owner, owner), 0);
        return home;
    }

    static std::vector<std::string> namesOf(const std::vector<AccountEntry>& entries) {
        std::vector<std::string> names;
        for (const auto& account : loginAccounts(entries, people)) {
            names.push_back(account.name);
        }
        return names;
    }

    const TemporaryDirectory directory_;
};

using Names = std::vector<std::string>;

TEST_F(LoginAccountsTest, AreTheSuperuserAndPeopleByTheirNumbers) {
    const auto home = makeHome("home", 0);
    const auto annas = makeHome("anna", anna);
    const auto bens = makeHome("ben", ben);
    const auto services = makeHome("service", least - 1);
    EXPECT_EQ(namesOf({{ben, ben, "ben", bens},
                       {least - 1, 1, "service", services},
                       {anna, anna, "anna", annas},
                       {0, 0, "root", home}}),
              (Names{"root", "anna", "ben"}));
}

TEST_F(LoginAccountsTest, BeyondThoseOfPeopleHaveAHomeOfTheirOwn) {
    constexpr uid_t distant = people.most + 1;
    constexpr uid_t service = people.most + 2;
    const auto home = makeHome("home", distant);
    EXPECT_EQ(namesOf({{distant, distant, "distant", home}, {service, service, "service", "/"}}),
              Names{"distant"});
    EXPECT_EQ(namesOf({{people.most, people.most, "person", "/"}}), Names{"person"});
}

TEST_F(LoginAccountsTest, BeyondThoseOfPeopleAreToldOfIfTheirHomeCannotBeLookedAt) {
    const auto loop = directory_ / "loop";
    std::filesystem::create_symlink(loop, loop);
    EXPECT_EQ(namesOf({{people.most + 1, people.most + 1, "distant", loop}}), Names{"distant"});
}

TEST_F(LoginAccountsTest, HaveTheirFieldsAndNoObstacle) {
    const auto home = makeHome("anna", anna);
    const auto accounts = loginAccounts({{anna, ben, "anna", home}}, people);
    ASSERT_EQ(accounts.size(), 1U);
    EXPECT_EQ(accounts[0].userId, anna);
    EXPECT_EQ(accounts[0].groupId, ben);
    EXPECT_EQ(accounts[0].name, "anna");
    EXPECT_EQ(accounts[0].home, home);
    EXPECT_EQ(accounts[0].whyNot, "");
}

TEST_F(LoginAccountsTest, AreLeftOutWithoutAHomeDirectory) {
    EXPECT_EQ(namesOf({{anna, anna, "missing", directory_ / "missing"},
                       {ben, ben, "relative", "."},
                       {ben, ben, "empty", ""}}),
              Names{});
}

TEST_F(LoginAccountsTest, HaveEachHomeDirectoryOnce) {
    const auto home = makeHome("anna", anna);
    std::filesystem::create_symlink(home, directory_ / "link");
    EXPECT_EQ(namesOf({{anna, anna, "anna", home},
                       {anna, anna, "alias", home},
                       {anna, anna, "link", directory_ / "link"}}),
              Names{"anna"});
}

TEST_F(LoginAccountsTest, AreFoundWhereAHomeDirectoryIsReachedThroughALink) {
    std::filesystem::create_symlink(makeHome("anna", anna), directory_ / "link");
    EXPECT_EQ(namesOf({{anna, anna, "anna", directory_ / "link"}}), Names{"anna"});
}

TEST_F(LoginAccountsTest, MayNotUseAHomeDirectoryOfAnother) {
    const auto accounts = loginAccounts({{anna, anna, "anna", makeHome("home", 0)}}, people);
    ASSERT_EQ(accounts.size(), 1U);
    EXPECT_EQ(accounts[0].whyNot, "its home folder " + (directory_ / "home") + " belongs to root");
}

TEST_F(LoginAccountsTest, MayNotUseWhatIsNoHomeDirectory) {
    const auto file = directory_.write("file");
    EXPECT_EQ(::chown(file.c_str(), anna, anna), 0);
    const auto accounts = loginAccounts({{anna, anna, "anna", file}}, people);
    ASSERT_EQ(accounts.size(), 1U);
    EXPECT_EQ(accounts[0].whyNot, "its home folder " + file + " is no folder");
}

TEST_F(LoginAccountsTest, AreToldOfWhoseHomeDirectoryCannotBeLookedAt) {
    std::filesystem::create_symlink("loop", directory_ / "loop");
    const auto accounts = loginAccounts({{anna, anna, "anna", directory_ / "loop"}}, people);
    ASSERT_EQ(accounts.size(), 1U);
    EXPECT_TRUE(accounts[0].whyNot.starts_with("its home folder " + (directory_ / "loop") +
                                               " cannot be looked at because "))
        << accounts[0].whyNot;
}

TEST_F(LoginAccountsTest, AlwaysIncludeTheSuperuser) {
    const auto accounts = loginAccounts({{0, 0, "root", directory_ / "missing"}}, people);
    ASSERT_EQ(accounts.size(), 1U);
    EXPECT_NE(accounts[0].whyNot, "");
}

TEST_F(LoginAccountsTest, MayNotHaveTheNumberThatMeansNoChange) {
    const auto home = makeHome("anna", anna);
    const auto accounts = loginAccounts({{anna, static_cast<gid_t>(-1), "anna", home}}, people);
    ASSERT_EQ(accounts.size(), 1U);
    EXPECT_EQ(accounts[0].whyNot, "its group has no valid number");
}

TEST(ProgramAsAnAccount, IsLaunchedWithoutTheKeysOfTheSession) {
    const auto keyring = [] {
        return ::syscall(SYS_keyctl, KEYCTL_GET_KEYRING_ID, KEY_SPEC_SESSION_KEYRING, 0);
    };
    const auto before = keyring();
    if (before < 0) {
        GTEST_SKIP() << "this system has no keyrings";
    }
    LoginAccounts().programAs({.userId = anna, .groupId = ben, .name = "anna", .home = "/"},
                              "/usr/bin/true", {});
    EXPECT_NE(keyring(), before);
}

TEST(LoginAccounts, OfThisMachineBeginWithTheSuperuser) {
    const auto accounts = LoginAccounts().all();
    ASSERT_FALSE(accounts.empty());
    EXPECT_EQ(accounts[0].userId, 0U);
}

struct Definitions : NamedCase {
    const char* text;
    UserIdRange range;
};

class UserIds : public testing::TestWithParam<Definitions> {};

TEST_P(UserIds, AreWhatTheFileSays) {
    const TemporaryDirectory directory;
    EXPECT_EQ(qf::native::userIdRange(directory.write("login.defs", GetParam().text)),
              GetParam().range);
}

INSTANTIATE_TEST_SUITE_P(
    OrTheUsualOnes, UserIds,
    testing::Values(
        Definitions{
            {"Given"}, "# UID_MIN 7\nGID_MIN 3\nUID_MIN\t\t 500\nUID_MAX 9000\n", {500, 9000}},
        Definitions{{"NoLeast"}, "UID_MAX 70000\n", {1000, 70000}},
        Definitions{{"NoMost"}, "UID_MIN 500\n", {500, 60000}},
        Definitions{{"GivenTwice"}, "UID_MIN 500\nUID_MIN 600\n", {600, 60000}},
        Definitions{{"InQuotes"}, "UID_MIN \"500\"\n", {500, 60000}},
        Definitions{{"OfOtherBases"}, "UID_MIN 0x200\nUID_MAX 010000\n", {512, 4096}},
        Definitions{{"NoNumbers"}, "UID_MIN many\nUID_MAX -1\nUID_MIN 12a\n", {1000, 60000}},
        Definitions{{"TooLarge"}, "UID_MAX 4294967295\nUID_MIN 99999999999999999999\n", {}},
        Definitions{{"OfASystem"}, "SYS_UID_MIN 100\nSYS_UID_MAX 999\n", {1000, 60000}}),
    nameOfCase);

TEST(UserIds, AreTheUsualOnesWithoutTheFile) {
    EXPECT_EQ(qf::native::userIdRange("/nowhere/login.defs"), UserIdRange());
}

TEST(ProgramAsAnAccount, HasItsRightsAndNothingOfThisProcess) {
    const ScopedEnvironment secret("SECRET", "of root");
    const ScopedEnvironment language("LANG", "C.UTF-8");
    const ScopedEnvironment all("LC_ALL", std::nullopt);
    const ScopedEnvironment characters("LC_CTYPE", std::nullopt);
    const auto described = LoginAccounts().programAs(
        {.userId = anna, .groupId = ben, .name = "anna", .home = "/home/anna"}, "/usr/bin/program",
        {"--option", "word"});

    EXPECT_EQ(described.launchPath, "/usr/bin/setpriv");
    EXPECT_EQ(described.arguments,
              (std::vector<std::string>{"--reuid=+4001", "--regid=+4002", "--init-groups",
                                        "--inh-caps=-all", "--", "/usr/bin/program", "--option",
                                        "word"}));
    EXPECT_EQ(described.environment,
              (std::map<std::string, std::string>{{"HOME", "/home/anna"},
                                                  {"USER", "anna"},
                                                  {"LOGNAME", "anna"},
                                                  {"PATH", "/usr/local/bin:/usr/bin:/bin"},
                                                  {"LANG", "C.UTF-8"}}));
    EXPECT_EQ(described.standardInput.kind(), qf::ChildStream::Kind::nullDevice);
    EXPECT_TRUE(described.leavesTerminal);
}

} // namespace
