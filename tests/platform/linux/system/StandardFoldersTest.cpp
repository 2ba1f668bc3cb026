#include "platform/linux/system/SearchPaths.h"
#include "platform/linux/system/UserAccount.h"
#include "tests/platform/linux/RunChild.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <map>

using enum platform::DirectoryKind;
using platform::DirectoryKind;
using platform::DomainMask;

namespace {

using Folders = std::map<DirectoryKind, std::vector<std::string>>;

Folders allFolders(unsigned userId, DomainMask domain) {
    FakeAccount account;
    account.userId = userId;
    account.home = "/home/someone";
    platform::native::SearchPaths searchPaths(account);
    Folders folders;
    for (const auto kind : {application, adminApplication, library, documentation, document,
                            desktop, caches, applicationSupport, movies}) {
        if (auto list = searchPaths.folders(kind, domain); !list.empty()) {
            folders[kind] = list;
        }
    }
    return folders;
}

} // namespace

TEST(SearchPaths, PutTheUsersFoldersUnderTheHomeFolder) {
    EXPECT_EQ(allFolders(1000, DomainMask::user),
              (Folders{{application, {"/home/someone/Applications"}},
                       {adminApplication, {"/home/someone/Applications/Utilities"}},
                       {library, {"/home/someone/Library"}},
                       {document, {"/home/someone/Documents"}},
                       {desktop, {"/home/someone/Desktop"}},
                       {caches, {"/home/someone/Library/Caches"}},
                       {applicationSupport, {"/home/someone/Library/Application Support"}},
                       {movies, {"/home/someone/Movies"}}}));
}

TEST(SearchPaths, PutTheSuperusersFoldersUnderItsOwnHome) {
    EXPECT_EQ(allFolders(0, DomainMask::user),
              (Folders{{application, {"/var/root/Applications"}},
                       {adminApplication, {"/var/root/Applications/Utilities"}},
                       {library, {"/var/root/Library"}},
                       {document, {"/var/root/Documents"}},
                       {desktop, {"/var/root/Desktop"}},
                       {caches, {"/var/root/Library/Caches"}},
                       {applicationSupport, {"/var/root/Library/Application Support"}},
                       {movies, {"/var/root/Movies"}}}));
}

TEST(SearchPaths, PutTheMachinesFoldersUnderTheRoot) {
    const Folders machine{
        {application, {"/Applications"}}, {adminApplication, {"/Applications/Utilities"}},
        {library, {"/Library"}},          {documentation, {"/Library/Documentation"}},
        {caches, {"/Library/Caches"}},    {applicationSupport, {"/Library/Application Support"}}};

    EXPECT_EQ(allFolders(1000, DomainMask::local), machine);
    EXPECT_EQ(allFolders(0, DomainMask::local), machine);
}

TEST(SearchPaths, KnowTheOperatingSystemsLibraryAlone) {
    EXPECT_EQ(allFolders(1000, DomainMask::system), (Folders{{library, {"/System/Library"}}}));
}

TEST(SearchPaths, TakeTheNumbersThatApplicationsStore) {
    FakeAccount account;
    platform::native::SearchPaths searchPaths(account);
    const auto folders = [&](int kind, unsigned domain) {
        return searchPaths.folders(DirectoryKind{kind}, DomainMask{domain});
    };
    using List = std::vector<std::string>;

    EXPECT_EQ(folders(1, 2), List{"/Applications"});
    EXPECT_EQ(folders(4, 2), List{"/Applications/Utilities"});
    EXPECT_EQ(folders(5, 2), List{"/Library"});
    EXPECT_EQ(folders(8, 2), List{"/Library/Documentation"});
    EXPECT_EQ(folders(9, 1), List{"/home/someone/Documents"});
    EXPECT_EQ(folders(12, 1), List{"/home/someone/Desktop"});
    EXPECT_EQ(folders(13, 2), List{"/Library/Caches"});
    EXPECT_EQ(folders(14, 2), List{"/Library/Application Support"});
    EXPECT_EQ(folders(17, 1), List{"/home/someone/Movies"});
    EXPECT_EQ(folders(5, 8), List{"/System/Library"});
}

TEST(SearchPaths, GiveTheUsersFolderThenTheMachinesThenTheSystemsForAMaskOfSeveralDomains) {
    FakeAccount account;
    platform::native::SearchPaths searchPaths(account);
    using List = std::vector<std::string>;

    EXPECT_EQ(searchPaths.folders(library, DomainMask{1 + 2 + 8}),
              (List{"/home/someone/Library", "/Library", "/System/Library"}));
    EXPECT_EQ(searchPaths.folders(desktop, DomainMask{1 + 2}), List{"/home/someone/Desktop"});
}

TEST(SearchPaths, AreEmptyForNumbersThatMeanNothing) {
    FakeAccount account;
    platform::native::SearchPaths searchPaths(account);

    EXPECT_TRUE(searchPaths.folders(DirectoryKind{2}, DomainMask::user).empty());
    EXPECT_TRUE(searchPaths.folders(library, DomainMask{4}).empty());
}

TEST(UserAccount, HasTheHomeFolderThatTheEnvironmentNames) {
    const ScopedEnvironment home("HOME", "/home/other//");

    EXPECT_EQ(platform::native::UserAccount().homeDirectory(), "/home/other");
}

TEST(UserAccount, HasTheAccountsHomeFolderWhenTheEnvironmentNamesNoAbsoluteOne) {
    const std::string ofAccount = ::getpwuid(::getuid())->pw_dir;
    for (const auto& unusable : {std::optional<std::string>(), std::optional<std::string>(""),
                                 std::optional<std::string>("home/other")}) {
        const ScopedEnvironment home("HOME", unusable);
        EXPECT_EQ(platform::native::UserAccount().homeDirectory(), ofAccount);
    }
}

TEST(UserAccount, HasTheNameAndNumberOfTheRealUser) {
    const ScopedEnvironment user("LOGNAME", "nobody-in-particular");
    platform::native::UserAccount account;

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

TEST(UserAccount, HasItsNumberForANameAndNoHomeFolderWhenItIsUnknown) {
    constexpr uid_t unknown = 424242;
    if (::getuid() != 0 || ::getpwuid(unknown) != nullptr) {
        GTEST_SKIP() << "only root can be a user that nobody knows";
    }
    EXPECT_EQ(
        runChild({"account"}, {}, {"setpriv", "--reuid=424242", "--clear-groups", "--"}).output,
        "424242\n424242\n/nonexistent\n");
}

TEST(UserAccount, KeepsTemporaryFilesWhereTheEnvironmentSays) {
    const TemporaryFolder folder;
    const ScopedEnvironment temporary("TMPDIR", folder.path() + "/");

    EXPECT_EQ(platform::native::UserAccount().temporaryDirectory(), folder.path());
}

TEST(UserAccount, KeepsTemporaryFilesInTmpWhenTheEnvironmentNamesNoFolder) {
    const TemporaryFolder folder;
    for (const auto& unusable :
         {std::optional<std::string>(), std::optional<std::string>("."),
          std::optional(folder / "missing"), std::optional(folder.write("file"))}) {
        const ScopedEnvironment temporary("TMPDIR", unusable);
        EXPECT_EQ(platform::native::UserAccount().temporaryDirectory(), "/tmp");
    }
}

TEST(UserAccount, KeepsCachesWhereTheEnvironmentSaysElseInTheHomeFolder) {
    const ScopedEnvironment home("HOME", "/home/other");
    {
        const ScopedEnvironment cache("XDG_CACHE_HOME", "/var/fast");
        EXPECT_EQ(platform::native::UserAccount().cacheDirectory(), "/var/fast");
    }
    for (const auto& unusable :
         {std::optional<std::string>(), std::optional<std::string>("fast")}) {
        const ScopedEnvironment cache("XDG_CACHE_HOME", unusable);
        EXPECT_EQ(platform::native::UserAccount().cacheDirectory(), "/home/other/.cache");
    }
}
