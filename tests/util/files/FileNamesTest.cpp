#include "tests/support/NamedCase.h"
#include "tests/util/files/FileManagerTest.h"

namespace {

class FileNames : public FileManagerTest {};

struct WantedName : NamedCase {
    std::string wanted;
    std::string valid;
};

class ValidFileName : public FileNames, public testing::WithParamInterface<WantedName> {};

} // namespace

TEST_P(ValidFileName, IsVisibleAndWithoutSlashesAndColons) {
    EXPECT_EQ(QFFileManager::validateFilename(GetParam().wanted), GetParam().valid);
}

INSTANTIATE_TEST_SUITE_P(
    All, ValidFileName,
    testing::Values(WantedName{{"MixedUp"}, " .a/b:c", ".abc"},
                    WantedName{{"Hidden"}, ".hidden", "hidden"}, WantedName{{"Dot"}, ".", ""},
                    WantedName{{"TwoDotsAndALetter"}, "..x", ".x"},
                    WantedName{{"TwoDots"}, "..", "."}, WantedName{{"Nothing"}, "", ""},
                    WantedName{{"Space"}, " ", ""}, WantedName{{"SpaceBehindADot"}, ". a ", "a"},
                    WantedName{{"WhiteSpaceAround"}, "\t\r\n a b \n", "a b"},
                    WantedName{{"UnicodeSpaces"}, "\u00A0\u3000a\u2028", "a"},
                    WantedName{{"SlashesAndColons"}, "/:/:", ""},
                    WantedName{{"TwoSlashes"}, "a//b", "ab"},
                    WantedName{{"SpaceBehindASlash"}, "/ a", " a"},
                    WantedName{{"SpaceBeforeAColon"}, "a :", "a "},
                    WantedName{{"Plain"}, "plain.txt", "plain.txt"},
                    WantedName{{"NoText"},
                               "a\xFF:b",
                               "a\xFF"
                               "b"},
                    WantedName{{"Long"}, std::string(300, 'x'), std::string(300, 'x')}),
    nameOfCase);

TEST_F(FileNames, AFreePathIsUniqueUnchanged) {
    EXPECT_EQ(QFFileManager::uniqueFilename("/clip.mov"), "/clip.mov");
    EXPECT_EQ(QFFileManager::uniqueFilename(""), "");
}

TEST_F(FileNames, ATakenPathGetsTheFirstFreeNumberFromTwo) {
    fileSystem.files = {"/clip.mov", "/Notes", "/a.b/Notes", "/.hidden", "/dot."};
    EXPECT_EQ(QFFileManager::uniqueFilename("/clip.mov"), "/clip 2.mov");
    EXPECT_EQ(QFFileManager::uniqueFilename("/Notes"), "/Notes 2");
    EXPECT_EQ(QFFileManager::uniqueFilename("/a.b/Notes"), "/a.b/Notes 2");
    EXPECT_EQ(QFFileManager::uniqueFilename("/.hidden"), "/.hidden 2");
    EXPECT_EQ(QFFileManager::uniqueFilename("/dot."), "/dot. 2");
    fileSystem.files.insert("/clip 2.mov");
    EXPECT_EQ(QFFileManager::uniqueFilename("/clip.mov"), "/clip 3.mov");
}

TEST_F(FileNames, TheNumberHasNoUpperBound) {
    fileSystem.files = {"/clip.mov"};
    for (int number = 2; number < 1200; ++number) {
        fileSystem.files.insert("/clip " + std::to_string(number) + ".mov");
    }
    EXPECT_EQ(QFFileManager::uniqueFilename("/clip.mov"), "/clip 1200.mov");
}

TEST_F(FileNames, APercentSignInAPathIsNoDirective) {
    fileSystem.files = {"/100%li.mov"};
    EXPECT_EQ(QFFileManager::uniqueFilename("/100%li.mov"), "/100%li 2.mov");
}
