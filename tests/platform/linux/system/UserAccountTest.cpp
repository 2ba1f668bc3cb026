#include "platform/linux/system/UserAccount.h"

#include "tests/platform/linux/RunChild.h"
#include "tests/support/CasePath.h"
#include "tests/support/NamedCase.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

using qf::native::accountNamed;
using qf::native::accountOf;
using qf::native::allAccounts;

namespace {

/// The size of the smallest buffer that the entry of an account fits into.
std::size_t sizeOfEntry = 0;

} // namespace

extern "C" {
// The linker has the account call these two: NOLINTBEGIN(bugprone-reserved-identifier)
int __real_getpwnam_r(const char* name, passwd* entry, char* buffer, std::size_t size,
                      passwd** found);
int __wrap_getpwnam_r(const char* name, passwd* entry, char* buffer, std::size_t size,
                      passwd** found) {
    if (size < sizeOfEntry) {
        *found = nullptr;
        return ERANGE;
    }
    return __real_getpwnam_r(name, entry, buffer, size, found);
}
// NOLINTEND(bugprone-reserved-identifier)
}

TEST(UserAccount, HasTheHomeDirectoryThatTheEnvironmentNames) {
    const ScopedEnvironment home("HOME", "/home/other//");

    EXPECT_EQ(qf::native::UserAccount().homeDirectory(), "/home/other");
}

struct UnusableVariable : NamedCase {
    std::optional<std::string> value;
};

class UserAccountWithoutHome : public testing::TestWithParam<UnusableVariable> {};

TEST_P(UserAccountWithoutHome, HasTheAccountsHomeDirectory) {
    const ScopedEnvironment home("HOME", GetParam().value);
    EXPECT_EQ(qf::native::UserAccount().homeDirectory(), ::getpwuid(::getuid())->pw_dir);
}

INSTANTIATE_TEST_SUITE_P(InTheEnvironment, UserAccountWithoutHome,
                         testing::Values(UnusableVariable{{"Missing"}, std::nullopt},
                                         UnusableVariable{{"Empty"}, ""},
                                         UnusableVariable{{"Relative"}, "home/other"}),
                         nameOfCase);

TEST(UserAccount, OwnsItsHome) {
    const TemporaryDirectory directory;
    const ScopedEnvironment home("HOME", directory.path());

    EXPECT_EQ(qf::native::UserAccount().otherOwnerOfHome(), std::nullopt);
}

TEST(UserAccount, HasNoOtherOwnerOfAHomeThatDoesNotExist) {
    const TemporaryDirectory directory;
    const ScopedEnvironment home("HOME", directory / "missing");

    EXPECT_EQ(qf::native::UserAccount().otherOwnerOfHome(), std::nullopt);
}

TEST(UserAccount, NamesTheOtherAccountThatOwnsItsHome) {
    const TemporaryDirectory directory;
    const ScopedEnvironment home("HOME", directory.path());
    constexpr uid_t nobody = 65534;
    if (::chown(directory.path().c_str(), nobody, nobody) != 0) {
        GTEST_SKIP() << "only root can give a directory to another account";
    }

    EXPECT_EQ(qf::native::UserAccount().otherOwnerOfHome(), ::getpwuid(nobody)->pw_name);
}

TEST(UserAccount, HasTheNameAndNumberOfTheRealUser) {
    const ScopedEnvironment user("LOGNAME", "nobody-in-particular");
    qf::native::UserAccount account;

    EXPECT_EQ(account.realUserId(), ::getuid());
    EXPECT_EQ(account.loginName(), ::getpwuid(::getuid())->pw_name);
}

TEST(UserAccount, IsTheRealUsersWhateverTheEffectiveOneIs) {
    if (::getuid() != 0) {
        GTEST_SKIP() << "only root can be another user than the effective one";
    }
    EXPECT_EQ(runChild({"account"}, {}, {"setpriv", "--ruid=65534", "--"}).output,
              "65534\nnobody\n" + std::string(::getpwuid(65534)->pw_dir) + '\n');
}

TEST(UserAccount, HasItsNumberForANameAndNoHomeDirectoryWhenItIsUnknown) {
    constexpr uid_t unknown = 424242;
    if (::getuid() != 0 || ::getpwuid(unknown) != nullptr) {
        GTEST_SKIP() << "only root can be a user that nobody knows";
    }
    EXPECT_EQ(
        runChild({"account"}, {}, {"setpriv", "--reuid=424242", "--clear-groups", "--"}).output,
        "424242\n424242\n/nonexistent\n");
}

TEST(UserAccount, KeepsTemporaryFilesWhereTheEnvironmentSays) {
    const TemporaryDirectory directory;
    const ScopedEnvironment temporary("TMPDIR", directory.path() + "/");

    EXPECT_EQ(qf::native::UserAccount().temporaryDirectory(), directory.path());
}

class UserAccountWithoutTemporaryDirectory : public testing::TestWithParam<UnusableVariable> {};

TEST_P(UserAccountWithoutTemporaryDirectory, KeepsTemporaryFilesInTmp) {
    const TemporaryDirectory directory;
    directory.write("file");
    auto unusable = GetParam().value;
    if (unusable) {
        unusable = casePath(directory, *unusable);
    }
    const ScopedEnvironment temporary("TMPDIR", unusable);
    EXPECT_EQ(qf::native::UserAccount().temporaryDirectory(), "/tmp");
}

INSTANTIATE_TEST_SUITE_P(, UserAccountWithoutTemporaryDirectory,
                         testing::Values(UnusableVariable{{"Unset"}, std::nullopt},
                                         UnusableVariable{{"Relative"}, "."},
                                         UnusableVariable{{"Missing"}, "DIR/missing"},
                                         UnusableVariable{{"File"}, "DIR/file"}),
                         nameOfCase);

TEST(UserAccount, KeepsCachesWhereTheEnvironmentSays) {
    const ScopedEnvironment cache("XDG_CACHE_HOME", "/var/fast");
    EXPECT_EQ(qf::native::UserAccount().cacheDirectory(), "/var/fast");
}

class UserAccountWithoutCacheDirectory : public testing::TestWithParam<UnusableVariable> {};

TEST_P(UserAccountWithoutCacheDirectory, KeepsCachesInTheHomeDirectory) {
    const ScopedEnvironment home("HOME", "/home/other");
    const ScopedEnvironment cache("XDG_CACHE_HOME", GetParam().value);
    EXPECT_EQ(qf::native::UserAccount().cacheDirectory(), "/home/other/.cache");
}

INSTANTIATE_TEST_SUITE_P(, UserAccountWithoutCacheDirectory,
                         testing::Values(UnusableVariable{{"Unset"}, std::nullopt},
                                         UnusableVariable{{"Relative"}, "fast"}),
                         nameOfCase);

TEST(UserAccount, HasItsServiceManagerInItsRuntimeDirectory) {
    const ScopedEnvironment named("XDG_RUNTIME_DIR", "/run/elsewhere/");
    EXPECT_EQ(qf::native::serviceManagerDirectory(), "/run/elsewhere");
    const ScopedEnvironment relative("XDG_RUNTIME_DIR", "elsewhere");
    EXPECT_EQ(qf::native::serviceManagerDirectory(), "/run/user/" + std::to_string(::geteuid()));
}

TEST(UserAccount, KeepsStateInTheMachinesDirectoryForTheSuperuser) {
    if (::getuid() != 0) {
        GTEST_SKIP() << "only the superuser's is the machine's";
    }
    const ScopedEnvironment state("XDG_STATE_HOME", "/var/fast");

    EXPECT_EQ(qf::native::UserAccount().stateDirectory(), "/var/lib");
}

TEST(UserAccount, KeepsStateWhereTheEnvironmentSaysElseInTheHomeDirectory) {
    std::vector<std::string> ordinary;
    if (::getuid() == 0) {
        ordinary = {"setpriv", "--reuid=65534", "--clear-groups", "--"};
    }
    EXPECT_EQ(
        runChild({"state"}, {"HOME=/home/other", "XDG_STATE_HOME=/var/fast"}, ordinary).output,
        "/var/fast\n");
    EXPECT_EQ(runChild({"state"}, {"HOME=/home/other", "XDG_STATE_HOME=fast"}, ordinary).output,
              "/home/other/.local/state\n");
}

TEST(UserAccount, IsFoundInThePasswordDatabaseByItsNumberAndItsName) {
    const auto found = accountOf(0);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->userId, 0U);
    EXPECT_EQ(found->name, ::getpwuid(0)->pw_name);
    EXPECT_EQ(found->home, ::getpwuid(0)->pw_dir);

    const auto named = accountNamed(found->name);
    ASSERT_TRUE(named);
    EXPECT_EQ(named->userId, 0U);
}

TEST(UserAccount, IsFoundHoweverLongItsEntryIs) {
    const auto name = accountOf(0)->name;
    sizeOfEntry = 100000;
    const auto found = accountNamed(name);
    sizeOfEntry = 0;

    ASSERT_TRUE(found);
    EXPECT_EQ(found->userId, 0U);
}

TEST(UserAccount, IsNotFoundWhenThePasswordDatabaseKnowsNone) {
    EXPECT_FALSE(accountNamed("nobody-of-this-name"));
    EXPECT_FALSE(accountNamed(""));
}

TEST(UserAccount, IsListedThoughSomebodyWasListingBefore) {
    ::setpwent();
    const auto* entry = ::getpwent();
    ASSERT_NE(entry, nullptr);
    const std::string first = entry->pw_name;

    EXPECT_EQ(allAccounts().front().name, first);
}

TEST(UserAccount, IsListedWhateverFailedBefore) {
    errno = EIO;
    EXPECT_NO_THROW(allAccounts());
}
