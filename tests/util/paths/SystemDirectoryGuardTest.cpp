#include "util/paths/QFLocalPaths.h"

#include "tests/support/StandardLocations.h"

using qf::DirectoryKind;
using qf::DomainMask;

namespace {

using SystemDirectoryGuardTest = StandardLocations;

bool isProtected(const std::optional<std::string>& path, qf::ExactMatch exactMatch) {
    return QFLocalPaths::isPathSystemDirectory(path, exactMatch);
}

void expectProtected(const std::string& path) {
    EXPECT_TRUE(isProtected(path, qf::ExactMatch::yes)) << path;
    EXPECT_TRUE(isProtected(path, qf::ExactMatch::no)) << path;
}

void expectProtectedOnlyBeneathATree(const std::string& path) {
    EXPECT_FALSE(isProtected(path, qf::ExactMatch::yes)) << path;
    EXPECT_TRUE(isProtected(path, qf::ExactMatch::no)) << path;
}

void expectUnprotected(const std::optional<std::string>& path) {
    EXPECT_FALSE(isProtected(path, qf::ExactMatch::yes)) << path.value_or("(none)");
    EXPECT_FALSE(isProtected(path, qf::ExactMatch::no)) << path.value_or("(none)");
}

} // namespace

TEST_F(SystemDirectoryGuardTest, ProtectsTheRoot) {
    expectProtected("/");
}

TEST_F(SystemDirectoryGuardTest, LetsShortAndMissingPathsThrough) {
    expectUnprotected(std::nullopt);
    expectUnprotected("");
    expectUnprotected("/a");
    expectUnprotected("//");
}

TEST_F(SystemDirectoryGuardTest, CountsCharactersNotBytesInShortPaths) {
    account.home = "/é";
    expectUnprotected("/é");
    account.home = "/éé";
    expectProtected("/éé");
}

class ProtectedDirectory : public StandardLocations,
                           public testing::WithParamInterface<std::string> {};

TEST_P(ProtectedDirectory, IsRefused) {
    searchPaths.lists[{DirectoryKind::document, DomainMask::local}] = {"/Documents"};
    expectProtected(GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    StandardDirectories, ProtectedDirectory,
    testing::Values("/home/someone/Applications", "/Applications",
                    "/home/someone/Applications/Utilities", "/Applications/Utilities",
                    "/home/someone/Documents", "/Documents", "/home/someone/Library", "/Library",
                    "/home/someone/Library/Preferences", "/Library/Preferences",
                    "/home/someone/Library/Caches", "/Library/Caches",
                    "/home/someone/Library/Application Support", "/Library/Application Support",
                    "/home/someone/Desktop", "/home/someone", "/System/Library",
                    "/Library/Documentation"));

INSTANTIATE_TEST_SUITE_P(OperatingSystem, ProtectedDirectory,
                         testing::Values("/Users/Shared", "/usr", "/var", "/bin", "/sbin",
                                         "/System"));

TEST_F(SystemDirectoryGuardTest, LeavesOtherStandardDirectoriesUnprotected) {
    expectUnprotected("/home/someone/Movies");
    expectUnprotected("/home/someone/Library/Logs");
    expectUnprotected("/Library/Logs");
    expectUnprotected("/home/someone/Library/Documentation");
    expectUnprotected("/home/someone/.Trash");
}

TEST_F(SystemDirectoryGuardTest, LeavesWhatLiesInTheStandardDirectoriesUnprotected) {
    expectUnprotected("/Applications/Tool.app");
    expectUnprotected("/Library/Caches/com.quillfen.Lunevar");
    expectUnprotected("/home/someone/Pictures");
    expectUnprotected("/Users/Shared/Tool");
    expectUnprotected("/Users");
}

TEST_F(SystemDirectoryGuardTest, ProtectsWhatLiesInTheOperatingSystemsTreesUnlessExact) {
    expectProtectedOnlyBeneathATree("/usr/bin");
    expectProtectedOnlyBeneathATree("/var/log/messages");
    expectProtectedOnlyBeneathATree("/bin/rm");
    expectProtectedOnlyBeneathATree("/sbin/mount");
    expectProtectedOnlyBeneathATree("/private/var/db/receipts");
    expectProtectedOnlyBeneathATree("/System/Tool");
}

TEST_F(SystemDirectoryGuardTest, TheShorterMemberProtectsTheTreesToo) {
    EXPECT_TRUE(QFLocalPaths::isPathSystemDirectory("/usr/bin"));
    EXPECT_TRUE(QFLocalPaths::isPathSystemDirectory("/usr"));
    EXPECT_FALSE(QFLocalPaths::isPathSystemDirectory("/usr/local/bin"));
}

TEST_F(SystemDirectoryGuardTest, LeavesLocalSoftwareUnprotected) {
    expectUnprotected("/usr/local/bin");
    expectUnprotected("/usr/local/bin/");
}

TEST_F(SystemDirectoryGuardTest, ProtectsTheLocalSoftwareDirectoryItselfBeneathItsTree) {
    expectProtectedOnlyBeneathATree("/usr/local");
}

TEST_F(SystemDirectoryGuardTest, LeavesThePrivateDirectoryAndItsVarUnprotected) {
    expectUnprotected("/private");
    expectUnprotected("/private/var");
}

TEST_F(SystemDirectoryGuardTest, CutsTheTrailingSlashWithTheCharacterBefore) {
    expectUnprotected("/usr/");
    expectUnprotected("/Applications/");
    expectUnprotected("/System/");
    expectProtectedOnlyBeneathATree("/usr/bin/");
    expectProtected("/usrs/");
    expectProtected("/Applicationss/");
}

TEST_F(SystemDirectoryGuardTest, CutsOneWholeCharacterHoweverManyBytesItHas) {
    expectProtected("/usré/");
    expectProtected("/usr€/");
}

TEST_F(SystemDirectoryGuardTest, CutsHalfOfACharacterThatCountsAsTwo) {
    expectUnprotected("/usr\U0001F600/");
    expectProtectedOnlyBeneathATree("/usr/\U0001F600/");
}

TEST_F(SystemDirectoryGuardTest, CutsOneByteThatIsNoText) {
    expectProtected("/usr\xFF/");
}

TEST_F(SystemDirectoryGuardTest, CutsOnlyOneOfSeveralTrailingSlashes) {
    expectProtected("/usr//");
    expectProtectedOnlyBeneathATree("/usr///");
}

TEST_F(SystemDirectoryGuardTest, ComparesCaseAndSpellingExactly) {
    expectUnprotected("/USR");
    expectUnprotected("/applications");
    expectUnprotected("//usr");
    expectUnprotected("/Applications/.");
    expectUnprotected("/tmp/../usr");
    expectUnprotected("/usrlocal");
}

TEST_F(SystemDirectoryGuardTest, FollowsTheSuperusersDirectories) {
    account.userId = 0;
    searchPaths.lists[{DirectoryKind::library, DomainMask::user}] = {"/var/root/Library"};
    searchPaths.lists[{DirectoryKind::desktop, DomainMask::user}] = {"/private/var/root/Desktop"};
    expectProtected("/home/someone/Library");
    expectProtected("/home/someone/Library/Preferences");
    expectProtected("/home/someone/t/Desktop");
    expectUnprotected("/home/someone/Desktop");
}

TEST_F(SystemDirectoryGuardTest, AMissingLocationMatchesNothing) {
    searchPaths.lists.clear();
    expectUnprotected(std::nullopt);
    expectUnprotected("/Applications");
    expectUnprotected("/Preferences");
    expectProtected("/home/someone");
    expectProtected("/usr");
}

TEST(TimeMachineVolume, HoldsWhatLiesInItsSnapshotStore) {
    EXPECT_TRUE(
        QFLocalPaths::isPathOnTimeMachineVolume("/Volumes/Backup/Backups.backupdb/host/latest"));
    EXPECT_TRUE(QFLocalPaths::isPathOnTimeMachineVolume("/Volumes/Backup/Backups.backupdb"));
    EXPECT_TRUE(QFLocalPaths::isPathOnTimeMachineVolume("/Volumes/Backup/Backups.backupdb/"));
    EXPECT_TRUE(QFLocalPaths::isPathOnTimeMachineVolume("/Volumes/Backups.backupdb"));
}

TEST(TimeMachineVolume, IsNoDirectoryThatOnlyLooksLikeIt) {
    EXPECT_FALSE(QFLocalPaths::isPathOnTimeMachineVolume("/Volumes/Backup/Backups.backupdb.old"));
    EXPECT_FALSE(QFLocalPaths::isPathOnTimeMachineVolume("/Volumes/Backup/backups.backupdb"));
    EXPECT_FALSE(QFLocalPaths::isPathOnTimeMachineVolume("/Volumes/Backup/host"));
}

TEST(TimeMachineVolume, LiesAmongTheVolumes) {
    EXPECT_FALSE(QFLocalPaths::isPathOnTimeMachineVolume("/Backups.backupdb"));
    EXPECT_FALSE(QFLocalPaths::isPathOnTimeMachineVolume("/volumes/Backup/Backups.backupdb"));
    EXPECT_FALSE(QFLocalPaths::isPathOnTimeMachineVolume("/home/Volumes/Backups.backupdb"));
    EXPECT_FALSE(QFLocalPaths::isPathOnTimeMachineVolume("Volumes/Backups.backupdb"));
    EXPECT_FALSE(QFLocalPaths::isPathOnTimeMachineVolume(""));
    EXPECT_FALSE(QFLocalPaths::isPathOnTimeMachineVolume(std::nullopt));
}
