#include "util/paths/QFLocalPaths.h"

#include "platform/SystemInformation.h"
#include "tests/support/NamedCase.h"
#include "tests/support/StandardLocations.h"

#include <cstdlib>
#include <ctime>
#include <set>

using qf::DirectoryKind;
using qf::DomainMask;

namespace {

using QFLocalPathsTest = StandardLocations;

/// Counts its unique strings.
class NumberingSystemInformation : public qf::SystemInformation {
public:
    std::string globallyUniqueString() override { return "UNIQUE-" + std::to_string(++count_); }
    std::string operatingSystemVersion() override { return {}; }
    std::string hostName() override { return {}; }
    long processorCount() override { return 1; }
    std::uint64_t physicalMemory() override { return 0; }
    std::optional<std::string> executablePath() override { return std::nullopt; }
    std::optional<std::string> bundleVersion() override { return std::nullopt; }

private:
    int count_ = 0;
};

constexpr std::string_view alphabet = "abcdefghijklmnopqrstuvwxyz0123456789";

std::string randomStringOfSeed(unsigned seed, std::size_t length) {
    std::srand(seed);
    std::string text;
    while (text.size() < length) {
        text += alphabet[static_cast<std::size_t>(std::rand()) % alphabet.size()];
    }
    return text;
}

/// Returns whether `made`, checked right after `make` ran, is the output of a generator seeded with
/// the product of a clock reading and a time from the moment that `make` ran.
template <class Make, class Matches>
bool wasSeededWithClockTimesTime(Make make, Matches matches) {
    const std::clock_t firstClock = std::clock();
    const std::time_t firstTime = std::time(nullptr);
    make();
    const std::clock_t lastClock = std::clock();
    const std::time_t lastTime = std::time(nullptr);
    for (std::time_t time = firstTime; time <= lastTime; ++time) {
        for (std::clock_t clock = firstClock; clock <= lastClock; ++clock) {
            if (matches(static_cast<unsigned>(clock) * static_cast<unsigned>(time))) {
                return true;
            }
        }
    }
    return false;
}

} // namespace

TEST_F(QFLocalPathsTest, ApplicationDirectoryIsThatOfTheDomain) {
    EXPECT_EQ(QFLocalPaths::applicationDirectory(qf::Domain::user), "/home/someone/Applications");
    EXPECT_EQ(QFLocalPaths::applicationDirectory(qf::Domain::local), "/Applications");
}

TEST_F(QFLocalPathsTest, AdminApplicationDirectoryIsThatOfTheDomain) {
    EXPECT_EQ(QFLocalPaths::adminApplicationDirectory(qf::Domain::user),
              "/home/someone/Applications/Utilities");
    EXPECT_EQ(QFLocalPaths::adminApplicationDirectory(qf::Domain::local),
              "/Applications/Utilities");
}

TEST_F(QFLocalPathsTest, DocumentDirectoryIsThatOfTheDomain) {
    searchPaths.lists[{DirectoryKind::document, DomainMask::local}] = {"/Documents"};
    EXPECT_EQ(QFLocalPaths::documentDirectory(qf::Domain::user), "/home/someone/Documents");
    EXPECT_EQ(QFLocalPaths::documentDirectory(qf::Domain::local), "/Documents");
}

TEST_F(QFLocalPathsTest, LibraryDirectoryIsThatOfTheDomain) {
    EXPECT_EQ(QFLocalPaths::libraryDirectory(qf::Domain::user), "/home/someone/Library");
    EXPECT_EQ(QFLocalPaths::libraryDirectory(qf::Domain::local), "/Library");
}

TEST_F(QFLocalPathsTest, PrefsDirectoryLiesInTheLibrary) {
    EXPECT_EQ(QFLocalPaths::prefsDirectory(qf::Domain::user), "/home/someone/Library/Preferences");
    EXPECT_EQ(QFLocalPaths::prefsDirectory(qf::Domain::local), "/Library/Preferences");
}

TEST_F(QFLocalPathsTest, CacheDirectoryIsThatOfTheDomain) {
    EXPECT_EQ(QFLocalPaths::cacheDirectory(qf::Domain::user), "/home/someone/Library/Caches");
    EXPECT_EQ(QFLocalPaths::cacheDirectory(qf::Domain::local), "/Library/Caches");
}

TEST_F(QFLocalPathsTest, AppSupportDirectoryIsThatOfTheDomain) {
    EXPECT_EQ(QFLocalPaths::appSupportDirectory(qf::Domain::user),
              "/home/someone/Library/Application Support");
    EXPECT_EQ(QFLocalPaths::appSupportDirectory(qf::Domain::local), "/Library/Application Support");
}

TEST_F(QFLocalPathsTest, LogDirectoryLiesInTheLibrary) {
    EXPECT_EQ(QFLocalPaths::logDirectory(qf::Domain::user), "/home/someone/Library/Logs");
    EXPECT_EQ(QFLocalPaths::logDirectory(qf::Domain::local), "/Library/Logs");
}

TEST_F(QFLocalPathsTest, MovieDirectoryIsTheUsers) {
    searchPaths.lists[{DirectoryKind::movies, DomainMask::local}] = {"/Movies"};
    EXPECT_EQ(QFLocalPaths::movieDirectory(), "/home/someone/Movies");
}

TEST_F(QFLocalPathsTest, DesktopDirectoryIsTheUsers) {
    searchPaths.lists[{DirectoryKind::desktop, DomainMask::local}] = {"/Desktop"};
    EXPECT_EQ(QFLocalPaths::desktopDirectory(), "/home/someone/Desktop");
}

TEST_F(QFLocalPathsTest, SystemLibraryDirectoryIsTheOperatingSystems) {
    EXPECT_EQ(QFLocalPaths::systemLibraryDirectory(), "/System/Library");
}

TEST_F(QFLocalPathsTest, LocalDocumentationDirectoryIsTheMachines) {
    EXPECT_EQ(QFLocalPaths::localDocumentationDirectory(), "/Library/Documentation");
}

TEST_F(QFLocalPathsTest, UserDirectoryIsTheHomeDirectory) {
    EXPECT_EQ(QFLocalPaths::userDirectory(), "/home/someone");
}

TEST_F(QFLocalPathsTest, UsernameIsTheLoginName) {
    account.login = "somebody-else";
    EXPECT_EQ(QFLocalPaths::username(), "somebody-else");
}

TEST_F(QFLocalPathsTest, TrashDirectoryLiesInTheHomeDirectory) {
    EXPECT_EQ(QFLocalPaths::trashDirectory(), "/home/someone/.Trash");
}

TEST_F(QFLocalPathsTest, DarwinCacheDirectoryIsThePlatformsOrMissing) {
    EXPECT_EQ(QFLocalPaths::darwinCacheDirectory(), std::nullopt);
    account.cache = "/home/someone/.cache";
    EXPECT_EQ(QFLocalPaths::darwinCacheDirectory(), "/home/someone/.cache");
}

TEST_F(QFLocalPathsTest, TempDirectoryIsThePlatforms) {
    account.temporary = "/somewhere/temporary";
    EXPECT_EQ(QFLocalPaths::tempDirectory(), "/somewhere/temporary");
}

TEST_F(QFLocalPathsTest, PathForDirectoryIsTheFirstOfThePlatformsDirectories) {
    searchPaths.lists[{DirectoryKind::application, DomainMask::local}] = {"/First", "/Second"};
    EXPECT_EQ(QFLocalPaths::pathForDirectory(DirectoryKind::application, DomainMask::local),
              "/First");
}

class QFLocalPathsOfAnyUser : public QFLocalPathsTest,
                              public testing::WithParamInterface<NamedValue<unsigned>> {};

TEST_P(QFLocalPathsOfAnyUser, MissALocationThatThePlatformDoesNotKnow) {
    searchPaths.lists.clear();
    account.userId = GetParam().value;
    EXPECT_EQ(QFLocalPaths::applicationDirectory(qf::Domain::user), std::nullopt);
    EXPECT_EQ(QFLocalPaths::applicationDirectory(qf::Domain::local), std::nullopt);
    EXPECT_EQ(QFLocalPaths::prefsDirectory(qf::Domain::user), std::nullopt);
    EXPECT_EQ(QFLocalPaths::logDirectory(qf::Domain::local), std::nullopt);
    EXPECT_EQ(QFLocalPaths::systemLibraryDirectory(), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(, QFLocalPathsOfAnyUser,
                         testing::Values(NamedValue<unsigned>{{"Ordinary"}, 1000},
                                         NamedValue<unsigned>{{"Superuser"}, 0}),
                         nameOfCase);

TEST_F(QFLocalPathsTest, TheSuperusersDirectoriesMoveUnderTheHomeDirectoryOfTheProcess) {
    account.userId = 0;
    searchPaths.lists[{DirectoryKind::caches, DomainMask::user}] = {"/var/root/Library/Caches"};
    EXPECT_EQ(QFLocalPaths::cacheDirectory(qf::Domain::user), "/home/someone/Library/Caches");
}

TEST_F(QFLocalPathsTest, TheSuperusersDirectoryIsTheFirstOfThePlatformsDirectories) {
    account.userId = 0;
    searchPaths.lists[{DirectoryKind::caches, DomainMask::user}] = {"/var/root/First",
                                                                    "/var/root/Second"};
    EXPECT_EQ(QFLocalPaths::cacheDirectory(qf::Domain::user), "/home/someone/First");
}

TEST_F(QFLocalPathsTest, ThePrivateSpellingLeavesTheFinalLetterOfRootInFrontOfThePath) {
    account.userId = 0;
    searchPaths.lists[{DirectoryKind::caches, DomainMask::user}] = {
        "/private/var/root/Library/Caches"};
    EXPECT_EQ(QFLocalPaths::cacheDirectory(qf::Domain::user), "/home/someone/t/Library/Caches");
}

TEST_F(QFLocalPathsTest, BothSpellingsOfTheSuperusersHomeAreDroppedOneAfterTheOther) {
    account.userId = 0;
    searchPaths.lists[{DirectoryKind::caches, DomainMask::user}] = {
        "/var/root/private/var/root/Caches"};
    EXPECT_EQ(QFLocalPaths::cacheDirectory(qf::Domain::user), "/home/someone/t/Caches");
}

TEST_F(QFLocalPathsTest, TheSuperusersDirectoriesMoveEvenWithoutThePrefix) {
    account.userId = 0;
    searchPaths.lists[{DirectoryKind::caches, DomainMask::user}] = {"/VAR/root/Caches"};
    EXPECT_EQ(QFLocalPaths::cacheDirectory(qf::Domain::user), "/home/someone/VAR/root/Caches");
}

TEST_F(QFLocalPathsTest, TheSuperusersPrefixIsOneOfCharactersNotOfComponents) {
    account.userId = 0;
    searchPaths.lists[{DirectoryKind::caches, DomainMask::user}] = {"/var/rootless/Caches"};
    EXPECT_EQ(QFLocalPaths::cacheDirectory(qf::Domain::user), "/home/someone/less/Caches");
}

TEST_F(QFLocalPathsTest, TheSuperusersHomeItselfBecomesTheHomeDirectory) {
    account.userId = 0;
    searchPaths.lists[{DirectoryKind::desktop, DomainMask::user}] = {"/var/root"};
    EXPECT_EQ(QFLocalPaths::desktopDirectory(), "/home/someone");
}

TEST_F(QFLocalPathsTest, OnlyTheSuperusersUserDomainMoves) {
    account.userId = 0;
    searchPaths.lists[{DirectoryKind::library, DomainMask::local}] = {"/var/root/Library"};
    searchPaths.lists[{DirectoryKind::library, DomainMask::system}] = {"/var/root/System"};
    EXPECT_EQ(QFLocalPaths::libraryDirectory(qf::Domain::local), "/var/root/Library");
    EXPECT_EQ(QFLocalPaths::systemLibraryDirectory(), "/var/root/System");
}

TEST_F(QFLocalPathsTest, NothingMovesForAMaskThatHasMoreThanTheUserDomain) {
    account.userId = 0;
    constexpr DomainMask userAndLocal{3};
    searchPaths.lists[{DirectoryKind::library, userAndLocal}] = {"/var/root/Library", "/Library"};
    EXPECT_EQ(QFLocalPaths::pathForDirectory(DirectoryKind::library, userAndLocal),
              "/var/root/Library");
}

TEST_F(QFLocalPathsTest, AnOrdinaryUsersDirectoriesStayWhereTheyAre) {
    searchPaths.lists[{DirectoryKind::caches, DomainMask::user}] = {"/var/root/Library/Caches"};
    EXPECT_EQ(QFLocalPaths::cacheDirectory(qf::Domain::user), "/var/root/Library/Caches");
}

TEST_F(QFLocalPathsTest, UuidIsTheProcesssUniqueString) {
    NumberingSystemInformation information;
    const qf::ScopedService<qf::SystemInformation> scope(information);
    EXPECT_EQ(QFLocalPaths::uuid(), "UNIQUE-1");
    EXPECT_EQ(QFLocalPaths::uuid(), "UNIQUE-2");
}

TEST_F(QFLocalPathsTest, TempFileIsAUniqueStringAndEightRandomCharactersInTheTemporaryDirectory) {
    NumberingSystemInformation information;
    const qf::ScopedService<qf::SystemInformation> scope(information);
    const std::string file = QFLocalPaths::tempFile();
    const std::string stem = "/tmp/UNIQUE-1";
    EXPECT_TRUE(file.starts_with(stem)) << file;
    EXPECT_EQ(file.size(), stem.size() + 8);
    EXPECT_EQ(file.find_first_not_of(alphabet, stem.size()), std::string::npos) << file;
    EXPECT_TRUE(QFLocalPaths::tempFile().starts_with("/tmp/UNIQUE-2"));
}

TEST(QFLocalPathsRandomString, HasTheLengthAskedForAndOnlyCharactersOfTheAlphabet) {
    std::set<char> seen;
    const std::string text = QFLocalPaths::randomString(10'000);
    EXPECT_EQ(text.size(), 10'000U);
    EXPECT_EQ(std::set<char>(text.begin(), text.end()),
              std::set<char>(alphabet.begin(), alphabet.end()));
}

TEST(QFLocalPathsRandomString, OfNoCharactersIsEmpty) {
    EXPECT_EQ(QFLocalPaths::randomString(0), "");
}

TEST(QFLocalPathsRandomString, DependsOnNothingButTheClockReadingTimesTheSecond) {
    std::string text;
    EXPECT_TRUE(wasSeededWithClockTimesTime(
        [&] { text = QFLocalPaths::randomString(12); },
        [&](unsigned seed) { return randomStringOfSeed(seed, 12) == text; }));
}

TEST(QFLocalPathsRandomString, ReseedsTheSharedGeneratorEvenForNoCharacters) {
    std::string next;
    EXPECT_TRUE(wasSeededWithClockTimesTime(
        [&] {
            QFLocalPaths::randomString(0);
            while (next.size() < 12) {
                next += alphabet[static_cast<std::size_t>(std::rand()) % alphabet.size()];
            }
        },
        [&](unsigned seed) { return randomStringOfSeed(seed, 12) == next; }));
}

TEST(QFLocalPathsSlashes, EnsureTrailingSlashAddsOneWhereNoneIs) {
    EXPECT_EQ(QFLocalPaths::ensureTrailingSlash("/a/b"), "/a/b/");
    EXPECT_EQ(QFLocalPaths::ensureTrailingSlash("a"), "a/");
}

TEST(QFLocalPathsSlashes, EnsureTrailingSlashLeavesWhatEndsInOne) {
    EXPECT_EQ(QFLocalPaths::ensureTrailingSlash("/"), "/");
    EXPECT_EQ(QFLocalPaths::ensureTrailingSlash("/a//"), "/a//");
}

TEST(QFLocalPathsSlashes, EnsureTrailingSlashLeavesTheMissingAndTheEmptyPath) {
    EXPECT_EQ(QFLocalPaths::ensureTrailingSlash(std::nullopt), std::nullopt);
    EXPECT_EQ(QFLocalPaths::ensureTrailingSlash(""), "");
}

TEST(QFLocalPathsSlashes, StripTrailingSlashTakesExactlyOne) {
    EXPECT_EQ(QFLocalPaths::stripTrailingSlash("a/"), "a");
    EXPECT_EQ(QFLocalPaths::stripTrailingSlash("/a/b/"), "/a/b");
    EXPECT_EQ(QFLocalPaths::stripTrailingSlash("/a/b//"), "/a/b/");
    EXPECT_EQ(QFLocalPaths::stripTrailingSlash("//"), "/");
}

TEST(QFLocalPathsSlashes, StripTrailingSlashLeavesWhatHasNone) {
    EXPECT_EQ(QFLocalPaths::stripTrailingSlash("/a/b"), "/a/b");
    EXPECT_EQ(QFLocalPaths::stripTrailingSlash("/"), "/");
    EXPECT_EQ(QFLocalPaths::stripTrailingSlash(""), "");
    EXPECT_EQ(QFLocalPaths::stripTrailingSlash(std::nullopt), std::nullopt);
}
