#include "platform/linux/SearchPaths.h"
#include "platform/linux/UserAccount.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <map>

using enum platform::DirectoryKind;
using platform::DirectoryKind;
using platform::DomainMask;

namespace {

/// Gives an environment variable another value, or none, for a scope.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const std::optional<std::string>& value) : name_(name) {
        if (const char* former = std::getenv(name)) {
            former_ = former;
        }
        set(value);
    }
    ~ScopedVariable() { set(former_); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;
    ScopedVariable(ScopedVariable&&) = delete;
    ScopedVariable& operator=(ScopedVariable&&) = delete;

private:
    void set(const std::optional<std::string>& value) const {
        if (value) {
            ::setenv(name_, value->c_str(), 1);
        } else {
            ::unsetenv(name_);
        }
    }

    const char* name_;
    std::optional<std::string> former_;
};

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

TEST(SearchPaths, AreEmptyForNumbersThatMeanNothing) {
    FakeAccount account;
    platform::native::SearchPaths searchPaths(account);

    EXPECT_TRUE(searchPaths.folders(DirectoryKind{2}, DomainMask::user).empty());
    EXPECT_TRUE(searchPaths.folders(library, DomainMask{4}).empty());
}

TEST(UserAccount, HasTheHomeFolderThatTheEnvironmentNames) {
    const ScopedVariable home("HOME", "/home/other//");

    EXPECT_EQ(platform::native::UserAccount().homeDirectory(), "/home/other");
}

TEST(UserAccount, HasTheAccountsHomeFolderWhenTheEnvironmentNamesNoAbsoluteOne) {
    const std::string ofAccount = ::getpwuid(::getuid())->pw_dir;
    for (const auto& unusable : {std::optional<std::string>(), std::optional<std::string>(""),
                                 std::optional<std::string>("home/other")}) {
        const ScopedVariable home("HOME", unusable);
        EXPECT_EQ(platform::native::UserAccount().homeDirectory(), ofAccount);
    }
}

TEST(UserAccount, HasTheNameAndNumberOfTheRealUser) {
    const ScopedVariable user("LOGNAME", "nobody-in-particular");
    platform::native::UserAccount account;

    EXPECT_EQ(account.realUserId(), ::getuid());
    EXPECT_EQ(account.loginName(), ::getpwuid(::getuid())->pw_name);
}

TEST(UserAccount, KeepsTemporaryFilesWhereTheEnvironmentSays) {
    const TemporaryFolder folder;
    const ScopedVariable temporary("TMPDIR", folder.path() + "/");

    EXPECT_EQ(platform::native::UserAccount().temporaryDirectory(), folder.path());
}

TEST(UserAccount, KeepsTemporaryFilesInTmpWhenTheEnvironmentNamesNoFolder) {
    const TemporaryFolder folder;
    for (const auto& unusable :
         {std::optional<std::string>(), std::optional<std::string>("."),
          std::optional(folder / "missing"), std::optional(folder.write("file"))}) {
        const ScopedVariable temporary("TMPDIR", unusable);
        EXPECT_EQ(platform::native::UserAccount().temporaryDirectory(), "/tmp");
    }
}

TEST(UserAccount, KeepsCachesWhereTheEnvironmentSaysElseInTheHomeFolder) {
    const ScopedVariable home("HOME", "/home/other");
    {
        const ScopedVariable cache("XDG_CACHE_HOME", "/var/fast");
        EXPECT_EQ(platform::native::UserAccount().cacheDirectory(), "/var/fast");
    }
    for (const auto& unusable :
         {std::optional<std::string>(), std::optional<std::string>("fast")}) {
        const ScopedVariable cache("XDG_CACHE_HOME", unusable);
        EXPECT_EQ(platform::native::UserAccount().cacheDirectory(), "/home/other/.cache");
    }
}
