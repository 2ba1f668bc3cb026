#include "tests/support/DescribedMachine.h"
#include "tests/support/NamedCase.h"
#include "util/files/QFFileManager.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace {

using qf::Date;

/// The moment that shows progress, by the seconds since 1970.
constexpr Date progressDate{std::chrono::seconds(443'779'200)};

class Finder : public DescribedMachine {
protected:
    Finder() {
        fileSystem.files = {"/file"};
        fileSystem.tools.insert("/usr/bin/xattr");
    }

    static std::string roundTrip(const std::string& path) {
        return QFFileManager::stringWithFSRef(QFFileManager::stringToFSRef(path)).value_or("none");
    }
};

struct LabelColor : NamedCase {
    int index;
    qf::CalibratedColor color;
};

class FinderLabel : public Finder, public testing::WithParamInterface<LabelColor> {};

struct ShownProgress : NamedCase {
    float fraction;
    const char* text;
};

class FinderProgress : public Finder, public testing::WithParamInterface<ShownProgress> {};

} // namespace

// ---- References --------------------------------------------------------------------------------

class FinderReference : public Finder, public testing::WithParamInterface<NamedText> {};

TEST_P(FinderReference, LeadsBackToItsPath) {
    EXPECT_EQ(roundTrip(GetParam().value), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(ToText, FinderReference,
                         testing::Values(NamedText{{"Root"}, "/"}, NamedText{{"Relative"}, "a"},
                                         NamedText{{"AnyBytes"}, "/a b/\xFF\xFE\n"},
                                         NamedText{{"Letters"}, "/Volumes/Ünï/clip.mov"}),
                         nameOfCase);

class FinderReferenceOfLength : public Finder, public testing::WithParamInterface<std::size_t> {};

TEST_P(FinderReferenceOfLength, LeadsBackToItsPath) {
    const auto path = "/" + std::string(GetParam() - 1, 'a');
    EXPECT_EQ(roundTrip(path), path);
}

// A reference holds 79 bytes itself.
INSTANTIATE_TEST_SUITE_P(Bytes, FinderReferenceOfLength,
                         testing::Values(1, 2, 78, 79, 80, 81, 82, 4096, 100'000),
                         testing::PrintToStringParamName());

TEST_F(Finder, EqualPathsHaveEqualReferencesAndOthersHaveNot) {
    const std::string longPath = "/" + std::string(200, 'a');
    EXPECT_EQ(QFFileManager::stringToFSRef("/a"), QFFileManager::stringToFSRef("/a"));
    EXPECT_NE(QFFileManager::stringToFSRef("/a"), QFFileManager::stringToFSRef("/b"));
    EXPECT_EQ(QFFileManager::stringToFSRef(longPath), QFFileManager::stringToFSRef(longPath));
    EXPECT_NE(QFFileManager::stringToFSRef(longPath), QFFileManager::stringToFSRef(longPath + "b"));
}

TEST_F(Finder, OfTheReferencesToLongPathsOnlyTheLatestAreKept) {
    constexpr int kept = 10000;
    const auto path = [](int number) {
        return "/" + std::string(200, 'l') + std::to_string(number);
    };
    const auto first = QFFileManager::stringToFSRef(path(0));
    EXPECT_EQ(QFFileManager::stringWithFSRef(first), path(0));
    for (int i = 1; i <= kept; ++i) {
        QFFileManager::stringToFSRef(path(i));
    }
    EXPECT_EQ(QFFileManager::stringWithFSRef(first), std::nullopt);
    EXPECT_EQ(roundTrip(path(1)), path(1));
    EXPECT_EQ(roundTrip(path(0)), path(0));
}

TEST_F(Finder, AReferenceIsEightyBytesThatMayBeCopiedAsSuch) {
    EXPECT_EQ(sizeof(qf::FSRef), 80U);
    const std::string path = "/" + std::string(300, 'x');
    const auto original = QFFileManager::stringToFSRef(path);
    std::array<std::byte, sizeof(qf::FSRef)> bytes{};
    std::memcpy(bytes.data(), &original, bytes.size());
    qf::FSRef copy;
    std::memcpy(&copy, bytes.data(), bytes.size());
    EXPECT_EQ(QFFileManager::stringWithFSRef(copy), path);
}

class FinderReferenceToNothing : public Finder, public testing::WithParamInterface<NamedText> {};

TEST_P(FinderReferenceToNothing, IsThatOfWhatIsNoPath) {
    EXPECT_EQ(QFFileManager::stringToFSRef(GetParam().value), qf::FSRef());
    EXPECT_EQ(roundTrip(GetParam().value), "none");
}

INSTANTIATE_TEST_SUITE_P(All, FinderReferenceToNothing,
                         testing::Values(NamedText{{"Empty"}, ""},
                                         NamedText{{"ZeroByte"}, std::string("/a\0b", 4)}),
                         nameOfCase);

TEST_F(Finder, AReferenceThatNobodyGaveIsNoPath) {
    qf::FSRef reference;
    std::memset(reference.hidden.data() + 1, 0xFF, 8);
    EXPECT_EQ(QFFileManager::stringWithFSRef(reference), std::nullopt);
}

// ---- The notice --------------------------------------------------------------------------------

TEST_F(Finder, TheNoticeIsGivenToTheDesktop) {
    const std::string longPath = "/" + std::string(200, 'a');
    QFFileManager::notifyFileSystemChanged("/file");
    QFFileManager::notifyFileSystemChanged(longPath);
    EXPECT_EQ(workspace.changed, (Lines{"/file", longPath}));
}

TEST_F(Finder, TheNoticesStatusComesBackFromTheFunctionAlone) {
    const auto reference = QFFileManager::stringToFSRef("/file");
    EXPECT_EQ(qf::SendFinderSyncEvent(reference), 0);
    workspace.changedResult = qf::Unexpected(qf::procNotFound);
    EXPECT_EQ(qf::SendFinderSyncEvent(reference), -600);
    QFFileManager::notifyFileSystemChanged("/file");
    EXPECT_EQ(loggedLines(), Lines{});
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(Finder, NothingIsToldOfAReferenceToNothing) {
    EXPECT_EQ(qf::SendFinderSyncEvent(qf::FSRef()), -43);
    QFFileManager::notifyFileSystemChanged("");
    EXPECT_EQ(workspace.changed, Lines{});
}

// ---- Labels ------------------------------------------------------------------------------------

TEST_P(FinderLabel, HasItsColor) {
    EXPECT_EQ(QFFileManager::finderColorForColorIndex(GetParam().index), GetParam().color);
}

INSTANTIATE_TEST_SUITE_P(
    All, FinderLabel,
    testing::Values(
        LabelColor{{"First"}, 1, {.hue = 0.0, .saturation = 0.0, .brightness = 0.72}},
        LabelColor{{"Second"}, 2, {.hue = 0.2056, .saturation = 0.5, .brightness = 0.85}},
        LabelColor{{"Third"}, 3, {.hue = 0.7917, .saturation = 0.26, .brightness = 0.86}},
        LabelColor{{"Fourth"}, 4, {.hue = 0.5789, .saturation = 0.56, .brightness = 0.98}},
        LabelColor{{"Fifth"}, 5, {.hue = 0.1388, .saturation = 0.54, .brightness = 0.95}},
        LabelColor{{"Sixth"}, 6, {.hue = 0.0083, .saturation = 0.54, .brightness = 1.0}},
        LabelColor{{"Seventh"}, 7, {.hue = 0.0888, .saturation = 0.52, .brightness = 0.98}}),
    nameOfCase);

TEST_F(Finder, AColorIsOpaque) {
    EXPECT_EQ(QFFileManager::finderColorForColorIndex(1)->alpha, 1.0);
}

class FinderIndex : public Finder, public testing::WithParamInterface<NamedValue<int>> {};

TEST_P(FinderIndex, HasNoColor) {
    EXPECT_EQ(QFFileManager::finderColorForColorIndex(GetParam().value), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    All, FinderIndex,
    testing::Values(NamedValue<int>{{"Zero"}, 0}, NamedValue<int>{{"Negative"}, -1},
                    NamedValue<int>{{"BehindTheLast"}, 8}, NamedValue<int>{{"Large"}, 100},
                    NamedValue<int>{{"Smallest"}, std::numeric_limits<int>::min()},
                    NamedValue<int>{{"Largest"}, std::numeric_limits<int>::max()}),
    nameOfCase);

TEST_F(Finder, TheIndexOfAPathIsItsLabelsNumber) {
    workspace.labels = {{"/file", 6}};
    EXPECT_EQ(QFFileManager::finderColorIndexForPath("/file"), 6);
    EXPECT_EQ(QFFileManager::finderColorIndexForPath("/missing"), 0);
}

TEST_F(Finder, TheColorOfAPathIsThatOfItsLabel) {
    workspace.labels = {{"/file", 6}, {"/plain", 0}};
    EXPECT_EQ(QFFileManager::finderColorForPath("/file"),
              QFFileManager::finderColorForColorIndex(6));
    EXPECT_EQ(QFFileManager::finderColorForPath("/plain"), std::nullopt);
    EXPECT_EQ(QFFileManager::finderColorForPath("/missing"), std::nullopt);
}

TEST_F(Finder, SettingTheIndexSetsTheLabel) {
    workspace.labels = {{"/file", 0}};
    QFFileManager::setFinderColorIndex(4, "/file");
    EXPECT_EQ(workspace.labels.at("/file"), 4);
}

TEST_F(Finder, SettingTheIndexOfNothingOrInVainIsSilent) {
    QFFileManager::setFinderColorIndex(4, std::nullopt);
    QFFileManager::setFinderColorIndex(4, "/missing");
    EXPECT_TRUE(workspace.labels.empty());
    EXPECT_EQ(loggedLines(), Lines{});
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

// ---- Progress ----------------------------------------------------------------------------------

TEST_P(FinderProgress, IsAnAttributeWithThreeDecimals) {
    QFFileManager::setFinderProgress(GetParam().fraction, "/file");
    EXPECT_EQ(launcher.runs,
              (Lines{std::string("/usr/bin/xattr -w com.apple.progress.fractionCompleted ") +
                         GetParam().text + " /file",
                     "waited"}));
}

INSTANTIATE_TEST_SUITE_P(All, FinderProgress,
                         testing::Values(ShownProgress{{"Half"}, 0.5F, "0.500"},
                                         ShownProgress{{"Quarter"}, 0.25F, "0.250"},
                                         ShownProgress{{"Nothing"}, 0.0F, "0.000"},
                                         ShownProgress{{"Everything"}, 1.0F, "1.000"},
                                         ShownProgress{{"MoreDecimals"}, 0.12345F, "0.123"},
                                         ShownProgress{{"MoreThanAll"}, 2.5F, "2.500"}),
                         nameOfCase);

TEST_F(Finder, ProgressSetsTheFixedCreationDate) {
    launcher.effect = [this] { EXPECT_EQ(fileSystem.changes, Lines{}); }; // first the attribute
    QFFileManager::setFinderProgress(0.5F, "/file");
    EXPECT_EQ(fileSystem.changes, (Lines{"creation date /file"}));
    EXPECT_EQ(fileSystem.creationDates.at("/file"), progressDate);
    EXPECT_EQ(qf::description(progressDate), "1984-01-24 08:00:00 +0000");
}

/// The operation that removes the progress of a file.
using ProgressRemoval = NamedValue<void (*)(const std::string& file)>;

class FinderProgressRemoval : public Finder, public testing::WithParamInterface<ProgressRemoval> {};

TEST_P(FinderProgressRemoval, SetsTheCreationDateToTheModificationDate) {
    const Date modified{std::chrono::seconds(1'000'000'000)};
    fileSystem.attributes["/file"] = {.modificationDate = modified};
    launcher.effect = [this] { EXPECT_EQ(fileSystem.changes, Lines{}); };
    GetParam().value("/file");
    EXPECT_EQ(launcher.runs,
              (Lines{"/usr/bin/xattr -d com.apple.progress.fractionCompleted /file", "waited"}));
    EXPECT_EQ(fileSystem.creationDates.at("/file"), modified);
}

INSTANTIATE_TEST_SUITE_P(
    All, FinderProgressRemoval,
    testing::Values(ProgressRemoval{{"ByName"},
                                    [](const std::string& file) {
                                        QFFileManager::removeFinderProgressForFile(file);
                                    }},
                    ProgressRemoval{{"ByNumber"},
                                    [](const std::string& file) {
                                        QFFileManager::setFinderProgress(-0.001F, file);
                                    }}),
    nameOfCase);

TEST_F(Finder, ProgressOfAMissingFileIsSilent) {
    QFFileManager::setFinderProgress(0.5F, "/missing");
    QFFileManager::removeFinderProgressForFile("/missing");
    EXPECT_EQ(loggedLines(), Lines{});
    EXPECT_EQ(fileSystem.changes, (Lines{"creation date /missing"}));
}

TEST_F(Finder, ProgressThatIsNoNumberIsIgnored) {
    QFFileManager::setFinderProgress(std::nanf(""), "/file");
    EXPECT_EQ(launcher.runs, Lines{});
    EXPECT_EQ(fileSystem.changes, Lines{});
}

// ---- Registration and caching ------------------------------------------------------------------

TEST_F(Finder, AnApplicationIsRegisteredWhenTheDesktopSaysSo) {
    EXPECT_TRUE(QFFileManager::registerApplicationWithLaunchServices("/Applications/A.app"));
    workspace.registeredResult = qf::Unexpected(qf::kLSApplicationNotFoundErr);
    EXPECT_FALSE(QFFileManager::registerApplicationWithLaunchServices("/Applications/B.app"));
    EXPECT_EQ(workspace.registered, (Lines{"/Applications/A.app", "/Applications/B.app"}));
}

TEST_F(Finder, AnApplicationThatIsNotRegisteredSaysWhy) {
    workspace.registeredResult = qf::Unexpected(qf::kLSApplicationNotFoundErr);
    EXPECT_EQ(QFFileManager::registerApplicationWithLaunchServicesWithResult("/B.app").error(),
              qf::kLSApplicationNotFoundErr);
}

TEST_F(Finder, DisablingCachingChangesNothing) {
    QFFileManager::disableFileSystemCachingForFile("/file");
    QFFileManager::disableFileSystemCachingForFile("/missing");
    EXPECT_EQ(fileSystem.changes, Lines{});
    EXPECT_EQ(launcher.runs, Lines{});
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{});
    EXPECT_EQ(console.systemLogLines(), Lines{});
}
