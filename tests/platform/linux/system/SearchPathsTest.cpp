#include "platform/linux/system/SearchPaths.h"

#include "tests/support/PortDoubles.h"

#include <gtest/gtest.h>

#include <map>

using enum qf::DirectoryKind;
using qf::DirectoryKind;
using qf::DomainMask;

namespace {

using Directories = std::map<DirectoryKind, std::vector<std::string>>;

Directories allDirectories(unsigned userId, DomainMask domain) {
    FakeAccount account;
    account.userId = userId;
    account.home = "/home/someone";
    qf::native::SearchPaths searchPaths(account);
    Directories directories;
    for (const auto kind : {application, adminApplication, library, documentation, document,
                            desktop, caches, applicationSupport, movies}) {
        if (auto list = searchPaths.directories(kind, domain); !list.empty()) {
            directories[kind] = list;
        }
    }
    return directories;
}

} // namespace

TEST(SearchPaths, PutTheUsersDirectoriesUnderTheHomeDirectory) {
    EXPECT_EQ(allDirectories(1000, DomainMask::user),
              (Directories{{application, {"/home/someone/Applications"}},
                           {adminApplication, {"/home/someone/Applications/Utilities"}},
                           {library, {"/home/someone/Library"}},
                           {document, {"/home/someone/Documents"}},
                           {desktop, {"/home/someone/Desktop"}},
                           {caches, {"/home/someone/Library/Caches"}},
                           {applicationSupport, {"/home/someone/Library/Application Support"}},
                           {movies, {"/home/someone/Movies"}}}));
}

TEST(SearchPaths, PutTheSuperusersDirectoriesUnderItsOwnHome) {
    EXPECT_EQ(allDirectories(0, DomainMask::user),
              (Directories{{application, {"/var/root/Applications"}},
                           {adminApplication, {"/var/root/Applications/Utilities"}},
                           {library, {"/var/root/Library"}},
                           {document, {"/var/root/Documents"}},
                           {desktop, {"/var/root/Desktop"}},
                           {caches, {"/var/root/Library/Caches"}},
                           {applicationSupport, {"/var/root/Library/Application Support"}},
                           {movies, {"/var/root/Movies"}}}));
}

TEST(SearchPaths, PutTheMachinesDirectoriesUnderTheRoot) {
    const Directories machine{
        {application, {"/Applications"}}, {adminApplication, {"/Applications/Utilities"}},
        {library, {"/Library"}},          {documentation, {"/Library/Documentation"}},
        {caches, {"/Library/Caches"}},    {applicationSupport, {"/Library/Application Support"}}};

    EXPECT_EQ(allDirectories(1000, DomainMask::local), machine);
    EXPECT_EQ(allDirectories(0, DomainMask::local), machine);
}

TEST(SearchPaths, KnowTheOperatingSystemsLibraryAlone) {
    EXPECT_EQ(allDirectories(1000, DomainMask::system),
              (Directories{{library, {"/System/Library"}}}));
}

TEST(SearchPaths, TakeTheNumbersThatApplicationsStore) {
    FakeAccount account;
    qf::native::SearchPaths searchPaths(account);
    const auto directories = [&](int kind, unsigned domain) {
        return searchPaths.directories(DirectoryKind{kind}, DomainMask{domain});
    };
    using List = std::vector<std::string>;

    EXPECT_EQ(directories(1, 2), List{"/Applications"});
    EXPECT_EQ(directories(4, 2), List{"/Applications/Utilities"});
    EXPECT_EQ(directories(5, 2), List{"/Library"});
    EXPECT_EQ(directories(8, 2), List{"/Library/Documentation"});
    EXPECT_EQ(directories(9, 1), List{"/home/someone/Documents"});
    EXPECT_EQ(directories(12, 1), List{"/home/someone/Desktop"});
    EXPECT_EQ(directories(13, 2), List{"/Library/Caches"});
    EXPECT_EQ(directories(14, 2), List{"/Library/Application Support"});
    EXPECT_EQ(directories(17, 1), List{"/home/someone/Movies"});
    EXPECT_EQ(directories(5, 8), List{"/System/Library"});
}

TEST(SearchPaths, GiveTheUsersDirectoryThenTheMachinesThenTheSystemsForAMaskOfSeveralDomains) {
    FakeAccount account;
    qf::native::SearchPaths searchPaths(account);
    using List = std::vector<std::string>;

    EXPECT_EQ(searchPaths.directories(library, DomainMask{1 + 2 + 8}),
              (List{"/home/someone/Library", "/Library", "/System/Library"}));
    EXPECT_EQ(searchPaths.directories(desktop, DomainMask{1 + 2}), List{"/home/someone/Desktop"});
}

TEST(SearchPaths, AreEmptyForNumbersThatMeanNothing) {
    FakeAccount account;
    qf::native::SearchPaths searchPaths(account);

    EXPECT_TRUE(searchPaths.directories(DirectoryKind{2}, DomainMask::user).empty());
    EXPECT_TRUE(searchPaths.directories(library, DomainMask{4}).empty());
}

TEST(SearchPaths, PutADirectoryUnderAnyHome) {
    EXPECT_EQ(qf::native::directoryInHome("/home/other", application), "/home/other/Applications");
    EXPECT_EQ(qf::native::directoryInHome("/", library), "/Library");
}
