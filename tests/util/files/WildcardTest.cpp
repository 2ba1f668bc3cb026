#include "tests/support/NamedCase.h"
#include "tests/util/files/FileManagerTest.h"

namespace {

class Wildcards : public FileManagerTest {
protected:
    Wildcards() {
        fileSystem.directories = {
            {"/", Lines{"base", "Applications", "file"}},
            {"/base", Lines{"b.txt", "sub", "a.txt", ".hidden.txt", "a?c", "abc", "empty"}},
            {"/base/sub", Lines{"Info.plist", "b.txt"}},
            {"/base/empty", Lines{}},
            {"/Applications", Lines{"B.app", "A.app", "notes"}},
            {"/Applications/A.app", Lines{"Info.plist"}},
            {"/Applications/B.app", Lines{"Info.plist"}},
            {"/base/Applications", Lines{"C.app"}},
            {"/base/Applications/C.app", Lines{}},
        };
        for (const auto& [directory, names] : fileSystem.directories) {
            for (const auto& name : *names) {
                const auto path = (directory == "/" ? "" : directory) + "/" + name;
                if (!fileSystem.directories.contains(path)) {
                    fileSystem.files.insert(path);
                }
            }
        }
    }

    /// Returns the names in /base that match a pattern of one component.
    Lines named(const std::string& pattern) {
        auto found = QFFileManager::filesMatchingWildcardPath(pattern, "/base");
        for (auto& path : found) {
            path.erase(0, std::string("/base/").size());
        }
        return found;
    }

    void nameFiles(const Lines& names) { fileSystem.directories["/base"] = names; }
};

} // namespace

TEST_F(Wildcards, ARunIsAnythingIncludingNothingAndALeadingDot) {
    EXPECT_EQ(named("*.txt"), (Lines{"b.txt", "a.txt", ".hidden.txt"}));
    EXPECT_EQ(named("a*c"), (Lines{"a?c", "abc"}));
    EXPECT_EQ(named("abc*"), Lines{"abc"});
    EXPECT_EQ(named("*"), fileSystem.directories["/base"]);
    EXPECT_EQ(named("**"), fileSystem.directories["/base"]);
    EXPECT_EQ(named("*b*"), (Lines{"b.txt", "sub", "abc"}));
    EXPECT_EQ(named("*x*y*"), Lines{});
}

TEST_F(Wildcards, TheWholeNameIsComparedWithItsCase) {
    EXPECT_EQ(named("A*"), Lines{});
    EXPECT_EQ(named("*.tx"), Lines{});
    EXPECT_EQ(named("*.txtt"), Lines{});
}

TEST_F(Wildcards, AQuestionMarkIsOneCharacterBesideARun) {
    nameFiles({"ac", "abc", "abbc", "a\u00E9c", "a\U0001F600c",
               "a\xFF"
               "c",
               "a"});
    EXPECT_EQ(named("a?c*"), (Lines{"abc", "a\u00E9c", "a\U0001F600c",
                                    "a\xFF"
                                    "c"}));
    EXPECT_EQ(named("*??bc"), Lines{"abbc"});
    EXPECT_EQ(named("?*"), fileSystem.directories["/base"]);
    EXPECT_EQ(named("*?c"), (Lines{"ac", "abc", "abbc", "a\u00E9c", "a\U0001F600c",
                                   "a\xFF"
                                   "c"}));
}

TEST_F(Wildcards, ARunThatFitsTooEarlyIsTriedAgain) {
    nameFiles({"aXbXc", "aXbX", "ababac", "mississippi"});
    EXPECT_EQ(named("a*X"), Lines{"aXbX"});
    EXPECT_EQ(named("*abac"), Lines{"ababac"});
    EXPECT_EQ(named("m*iss*ippi"), Lines{"mississippi"});
    EXPECT_EQ(named("m*is*p*i"), Lines{"mississippi"});
    EXPECT_EQ(named("m*issip*i*i"), Lines{});
}

TEST_F(Wildcards, NothingElseIsSpecial) {
    nameFiles({"[a]", "a", "\\*", "a.b"});
    EXPECT_EQ(named("[a]*"), Lines{"[a]"});
    EXPECT_EQ(named("\\*"), Lines{"\\*"});
    EXPECT_EQ(named("a.*"), Lines{"a.b"});
}

TEST_F(Wildcards, ManyRunsAgainstALongNameTakeNoTime) {
    nameFiles({std::string(255, 'a')});
    std::string pattern;
    for (int run = 0; run < 120; ++run) {
        pattern += "a*";
    }
    EXPECT_EQ(named(pattern + "b"), Lines{});
    EXPECT_EQ(named(pattern).size(), 1U);
}

TEST_F(Wildcards, AComponentWithoutARunIsAName) {
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("*/a?c", "/"), Lines{"/base/a?c"});
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("*/ab?", "/"), Lines{});
}

TEST_F(Wildcards, ANameBelowARunIsGivenWhereItExists) {
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("*/Info.plist", "/Applications"),
              (Lines{"/Applications/B.app/Info.plist", "/Applications/A.app/Info.plist"}));
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("*/Info.plist", "/base"),
              Lines{"/base/sub/Info.plist"});
}

TEST_F(Wildcards, WhatGrowsFromTheSameItemStaysTogether) {
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("/*/*.app/*"),
              (Lines{"/Applications/B.app/Info.plist", "/Applications/A.app/Info.plist"}));
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("base/*/b*"), Lines{"/base/sub/b.txt"});
}

TEST_F(Wildcards, AFileHasNothingBelowIt) {
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("file/*"), Lines{});
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("*.txt/*", "/base"), Lines{});
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("*.txt/x", "/base"), Lines{});
}

TEST_F(Wildcards, AnAbsolutePatternIsTakenFromTheBaseDirectoryToo) {
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("/Applications/*.app"),
              (Lines{"/Applications/B.app", "/Applications/A.app"}));
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("/Applications/*.app", "/base"),
              Lines{"/base/Applications/C.app"});
}

TEST_F(Wildcards, APatternOfNamesAloneIsNotLookedUp) {
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("x/a?c", "/base"), Lines{"/base/x/a?c"});
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("/x", "/base/"), Lines{"/base/x"});
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("x//y/"), Lines{"x//y/"});
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath(""), Lines{""});
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("", "/base"), Lines{"/base"});
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("x", "/*"), Lines{"/*/x"});
}

class WildcardsBelow : public Wildcards, public testing::WithParamInterface<NamedText> {};

TEST_P(WildcardsBelow, MatchNothing) {
    fileSystem.directories["/unreadable"] = std::nullopt;
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("*", GetParam().value), Lines{});
}

INSTANTIATE_TEST_SUITE_P(, WildcardsBelow,
                         testing::Values(NamedText{{"AMissingDirectory"}, "/missing"},
                                         NamedText{{"AnUnreadableDirectory"}, "/unreadable"},
                                         NamedText{{"AFile"}, "/file"}, NamedText{{"NoPath"}, ""}),
                         nameOfCase);

class WildcardsInSubdirectories : public Wildcards,
                                  public testing::WithParamInterface<NamedText> {};

TEST_P(WildcardsInSubdirectories, MatchTheSame) {
    const auto& pattern = GetParam().value;
    const auto found = QFFileManager::filesMatchingWildcardPath(pattern, "/base");
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath(pattern, "/base", qf::SearchSubdirs::no),
              found);
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath(pattern, "/base", qf::SearchSubdirs::yes),
              found);
}

INSTANTIATE_TEST_SUITE_P(, WildcardsInSubdirectories,
                         testing::Values(NamedText{{"Extension"}, "*.txt"}, NamedText{{"All"}, "*"},
                                         NamedText{{"TwoComponents"}, "*/*"},
                                         NamedText{{"Name"}, "x"}),
                         nameOfCase);

TEST_F(Wildcards, DecodingReturnsTheFirstMatch) {
    EXPECT_EQ(QFFileManager::decodeWildcardPath("*.txt", "/base"), "/base/b.txt");
    EXPECT_EQ(QFFileManager::decodeWildcardPath("/Applications/*.app", std::nullopt),
              "/Applications/B.app");
}

TEST_F(Wildcards, DecodingWithoutAMatchReturnsThePatternBehindTheBaseDirectory) {
    EXPECT_EQ(QFFileManager::decodeWildcardPath("x*/y", "/base"), "/base/x*/y");
    EXPECT_EQ(QFFileManager::decodeWildcardPath("/x*", std::nullopt), std::nullopt);
    EXPECT_EQ(QFFileManager::decodeWildcardPath("x", "/base"), "/base/x");
    EXPECT_EQ(QFFileManager::decodeWildcardPath("x", std::nullopt), "x");
}
