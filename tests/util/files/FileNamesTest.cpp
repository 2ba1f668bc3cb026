#include "tests/util/files/FileManagerTest.h"

namespace {

class FileNames : public FileManagerTest {};

} // namespace

TEST_F(FileNames, AValidNameIsVisibleAndWithoutSlashesAndColons) {
    struct Case {
        std::string name;
        std::string valid;
    };
    const Case cases[] = {
        {" .a/b:c", ".abc"},
        {".hidden", "hidden"},
        {".", ""},
        {"..x", ".x"},
        {"..", "."},
        {"", ""},
        {" ", ""},
        {". a ", "a"},
        {"\t\r\n a b \n", "a b"},
        {"\u00A0\u3000a\u2028", "a"},
        {"/:/:", ""},
        {"a//b", "ab"},
        {"/ a", " a"},
        {"a :", "a "},
        {"plain.txt", "plain.txt"},
        {"a\xFF:b", "a\xFF"
                    "b"},
        {std::string(300, 'x'), std::string(300, 'x')},
    };
    for (const auto& [name, valid] : cases) {
        EXPECT_EQ(QFFileManager::validateFilename(name), valid) << "of " << name;
    }
}

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
