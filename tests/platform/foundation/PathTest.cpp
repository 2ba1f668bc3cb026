#include "platform/foundation/Path.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace path = qf::path;
using Components = std::vector<std::string>;

TEST(Path, JoinsWithOneSlash) {
    EXPECT_EQ(path::appending("/a", "b"), "/a/b");
    EXPECT_EQ(path::appending("/a/", "/b"), "/a/b");
    EXPECT_EQ(path::appending("/a//", "//b//"), "/a/b");
    EXPECT_EQ(path::appending("/", "b"), "/b");
    EXPECT_EQ(path::appending("a", "b/c"), "a/b/c");
}

TEST(Path, JoinsNothingWithNothing) {
    EXPECT_EQ(path::appending("", "b"), "b");
    EXPECT_EQ(path::appending("", "/b"), "/b");
    EXPECT_EQ(path::appending("/a", ""), "/a");
    EXPECT_EQ(path::appending("/a", "/"), "/a");
    EXPECT_EQ(path::appending("", "/"), "/");
    EXPECT_EQ(path::appending("", ""), "");
}

TEST(Path, SplitsIntoComponents) {
    EXPECT_EQ(path::components("/a//b/"), (Components{"/", "a", "b"}));
    EXPECT_EQ(path::components("a/b"), (Components{"a", "b"}));
    EXPECT_EQ(path::components("/"), (Components{"/"}));
    EXPECT_EQ(path::components("///"), (Components{"/"}));
    EXPECT_EQ(path::components(""), Components());
}

TEST(Path, HasALastComponent) {
    EXPECT_EQ(path::lastComponent("/a/b"), "b");
    EXPECT_EQ(path::lastComponent("/a/b//"), "b");
    EXPECT_EQ(path::lastComponent("b"), "b");
    EXPECT_EQ(path::lastComponent("/"), "/");
    EXPECT_EQ(path::lastComponent("//"), "/");
    EXPECT_EQ(path::lastComponent(""), "");
}

TEST(Path, LosesItsLastComponent) {
    EXPECT_EQ(path::deletingLastComponent("/a/b"), "/a");
    EXPECT_EQ(path::deletingLastComponent("/a//b/"), "/a");
    EXPECT_EQ(path::deletingLastComponent("/a"), "/");
    EXPECT_EQ(path::deletingLastComponent("a"), "");
    EXPECT_EQ(path::deletingLastComponent("/"), "/");
    EXPECT_EQ(path::deletingLastComponent(""), "");
}

TEST(Path, HasAnExtension) {
    EXPECT_EQ(path::extension("/a/b.txt"), "txt");
    EXPECT_EQ(path::extension("/a/b.tar.gz/"), "gz");
    EXPECT_EQ(path::extension("/a.b/c"), "");
    EXPECT_EQ(path::extension("/a/.hidden"), "");
    EXPECT_EQ(path::extension("/a/.hidden.txt"), "txt");
    EXPECT_EQ(path::extension("/a/b."), "");
    EXPECT_EQ(path::extension(""), "");
}

TEST(Path, LosesItsExtension) {
    EXPECT_EQ(path::deletingExtension("/a/b.txt"), "/a/b");
    EXPECT_EQ(path::deletingExtension("/a/b.txt/"), "/a/b");
    EXPECT_EQ(path::deletingExtension("/a/.hidden"), "/a/.hidden");
    EXPECT_EQ(path::deletingExtension("/a.b/c"), "/a.b/c");
    EXPECT_EQ(path::deletingExtension("kelvane-uninstaller"), "kelvane-uninstaller");
    EXPECT_EQ(path::deletingExtension(""), "");
}

TEST(Path, NeverLooksIntoOtherBytes) {
    EXPECT_EQ(path::lastComponent("/a/\xFF\xFE"), "\xFF\xFE");
    EXPECT_EQ(path::appending("/\xC0", "\x80"), "/\xC0/\x80");
}
