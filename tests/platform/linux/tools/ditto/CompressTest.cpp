#include "tests/platform/linux/tools/ditto/DittoHarness.h"
#include "tests/support/NamedCase.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

class DittoCompress : public DittoHarness {};

TEST_F(DittoCompress, ReturnsWhatItWasGiven) {
    const auto source = makeSource();
    expectDone(ditto({"-ck", "--keepParent", source, directory / "a.zip"}));
    expectDone(ditto({"-xk", directory / "a.zip", directory / "out"}));
    EXPECT_EQ(treeOf(directory / "out/src"), treeOf(source));
    expectOnly({"src", "a.zip", "out"});
}

TEST_F(DittoCompress, LeavesTheDirectoriesNameOutUnlessItIsKept) {
    const auto source = makeSource();
    expectDone(ditto({"-ck", source, directory / "a.zip"}));
    expectDone(ditto({"-xk", directory / "a.zip", directory / "out"}));
    EXPECT_EQ(treeOf(directory / "out"), treeOf(source));
}

struct PackingOptions : NamedCase {
    std::vector<std::string> options;
};

class DittoCompressAFile : public DittoCompress,
                           public testing::WithParamInterface<PackingOptions> {};

TEST_P(DittoCompressAFile, PacksItUnderItsName) {
    const auto file = directory.write("clip.mov", "content");
    auto command = GetParam().options;
    command.insert(command.end(), {file, directory / "a.zip"});
    expectDone(ditto(command));
    expectDone(ditto({"-xk", directory / "a.zip", directory / "out"}));
    EXPECT_EQ(contentOf(directory / "out/clip.mov"), "content");
}

INSTANTIATE_TEST_SUITE_P(, DittoCompressAFile,
                         testing::Values(PackingOptions{{"Alone"}, {"-ck"}},
                                         PackingOptions{{"KeepingTheDirectory"},
                                                        {"-ck", "--keepParent"}}),
                         nameOfCase);

TEST_F(DittoCompress, KeepsNamesThatAreNoText) {
    directory.write("src/a\xFF\xFE", "content");
    directory.write("src/two\nlines", "content");
    fs::create_symlink("\xFD", directory / "src/ö");
    expectDone(ditto({"-ck", directory / "src", directory / "a.zip"}));
    expectDone(ditto({"-xk", directory / "a.zip", directory / "out"}));
    EXPECT_EQ(treeOf(directory / "out"), treeOf(directory / "src"));
}

TEST_F(DittoCompress, MarksNamesAsUtf8) {
    directory.write("src/ö", "content");
    expectDone(ditto({"-ck", directory / "src", directory / "a.zip"}));
    const auto names = run({"python3", "-c",
                            "import sys, zipfile; print(*zipfile.ZipFile(sys.argv[1]).namelist())",
                            directory / "a.zip"},
                           {"PYTHONUTF8=1"});
    EXPECT_EQ(names.output, "ö\n");
}

TEST_F(DittoCompress, PacksAnEmptyDirectory) {
    directory.makeDirectory("src");
    expectDone(ditto({"-ck", directory / "src", directory / "a.zip"}));
    expectDone(ditto({"-xk", directory / "a.zip", directory / "out"}));
    EXPECT_TRUE(fs::is_empty(directory / "out"));
    expectDone(ditto({"-ck", "--keepParent", directory / "src", directory / "a.zip"}));
    expectDone(ditto({"-xk", directory / "a.zip", directory / "again"}));
    EXPECT_TRUE(fs::is_empty(directory / "again/src"));
}

TEST_F(DittoCompress, FollowsALinkThatItIsGiven) {
    directory.write("src/file", "content");
    fs::create_symlink("src", directory / "link");
    expectDone(ditto({"-ck", "--keepParent", directory / "link", directory / "a.zip"}));
    expectDone(ditto({"-xk", directory / "a.zip", directory / "out"}));
    EXPECT_EQ(contentOf(directory / "out/link/file"), "content");
    EXPECT_FALSE(fs::is_symlink(directory / "out/link"));
}

TEST_F(DittoCompress, LeavesTheArchiveItselfOutOfIt) {
    directory.write("src/file", "content");
    expectDone(ditto({"-ck", directory / "src", directory / "src/a.zip"}));
    expectDone(ditto({"-xk", directory / "src/a.zip", directory / "out"}));
    EXPECT_EQ(treeOf(directory / "out").size(), 1U);
}

TEST_F(DittoCompress, ReplacesTheArchiveWhenTheNewOneIsComplete) {
    directory.write("src/file", "content");
    const auto archive = directory.write("a.zip", "old");
    expectDone(ditto({"-ck", directory / "src", archive}));
    EXPECT_TRUE(contentOf(archive).starts_with("PK"));
    struct stat status {};
    ASSERT_EQ(::stat(archive.c_str(), &status), 0);
    const mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(status.st_mode & 0777U, 0666U & ~mask);
}

TEST_F(DittoCompress, LeavesNothingOfAnArchiveThatItCannotMake) {
    const auto archive = directory.write("a.zip", "old");
    expectRefused(ditto({"-ck", directory / "missing", archive}), "missing");
    directory.makeDirectory("src");
    ASSERT_EQ(::mkfifo((directory / "src/pipe").c_str(), 0600), 0);
    expectRefused(ditto({"-ck", directory / "src", archive}), "no file, folder or link");
    expectRefused(ditto({"-ck", directory / "src", directory / "nowhere/a.zip"}), "nowhere/a.zip");
    expectRefused(ditto({"-ck", directory / "src/pipe", archive}), "no file, folder or link");
    EXPECT_EQ(contentOf(archive), "old");
    expectOnly({"a.zip", "src"});
}

TEST_F(DittoCompress, FailsOnWhatItMayNotRead) {
    directory.write("src/file", "content");
    directory.write("src/secret", "content");
    fs::permissions(directory / "src/secret", fs::perms(0));
    const auto outcome = ditto({"-ck", directory / "src", directory / "a.zip"}, asOrdinaryUser());
    expectRefused(outcome, "secret");
    expectOnly({"src"});
}

TEST_F(DittoCompress, FailsOnAFolderThatItMayNotRead) {
    directory.makeDirectory("src/secret");
    fs::permissions(directory / "src/secret", fs::perms(0));
    const auto outcome = ditto({"-ck", directory / "src", directory / "a.zip"}, asOrdinaryUser());
    expectRefused(outcome, "secret");
    expectOnly({"src"});
}

TEST_F(DittoCompress, FailsOnAFullVolume) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    std::string noise(200'000, '\0');
    std::ifstream("/dev/urandom").read(noise.data(), static_cast<std::streamsize>(noise.size()));
    directory.write("src/file", noise);
    directory.makeDirectory("small");
    auto listing = withMountOn(directory / "small", "size=64k");
    listing.insert(listing.end(), {"sh", "-c", R"sh("$@"; echo "$?"; ls -A "${4%/*}")sh", "sh",
                                   QF_DITTO, "-ck", directory / "src", directory / "small/a.zip"});
    const auto outcome = run(listing);
    EXPECT_TRUE(outcome.output.starts_with("ditto: ")) << outcome.output;
    EXPECT_TRUE(outcome.output.ends_with("\n1\n")) << outcome.output;
}

TEST_F(DittoCompress, DeletesWhatAKilledOneLeftBehind) {
    // Where others may write, root deletes only what still has its mark.
    fs::permissions(directory.path(), fs::perms(0755));
    const auto source = makeSource();
    ASSERT_EQ(ditto({"-ck", source, directory / "a.zip"}, {}, "fsync:1:kill").status, -1);
    expectDone(ditto({"-ck", source, directory / "a.zip"}));
    expectOnly({"src", "a.zip"});
    ASSERT_EQ(ditto({"-xk", directory / "a.zip", directory / "out"}, {}, "renameat2:1:kill").status,
              -1);
    expectDone(ditto({"-xk", directory / "a.zip", directory / "out"}));
    expectOnly({"src", "a.zip", "out"});
}

TEST_F(DittoCompress, MakesArchivesThatOtherToolsOpen) {
    const auto source = makeSource();
    expectDone(ditto({"-ck", "--keepParent", source, directory / "a.zip"}));
    const auto unzip =
        run({"unzip", "-q", directory / "a.zip", "-d", directory / "unzip"}, {"LC_ALL=C.UTF-8"});
    EXPECT_EQ(unzip.status, 0) << unzip.output;
    EXPECT_EQ(treeOf(directory / "unzip/src"), treeOf(source));
    directory.makeDirectory("bsdtar");
    const auto bsdtar = run({"bsdtar", "-xpf", directory / "a.zip", "-C", directory / "bsdtar"},
                            {"LC_ALL=C.UTF-8"});
    EXPECT_EQ(bsdtar.status, 0) << bsdtar.output;
    EXPECT_EQ(treeOf(directory / "bsdtar/src"), treeOf(source));
}

} // namespace
