#include "tests/support/RunCommand.h"
#include "tests/support/TemporaryDirectory.h"

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>

namespace fs = std::filesystem;

namespace {

using Names = std::vector<std::string>;

constexpr const char* dittoUsage =
    "usage: ditto -ck [--keepParent] SOURCE ARCHIVE | -xk ARCHIVE FOLDER\n";

/// An entry of an archive that a test makes.
struct Entry {
    std::string name;
    std::string content;
    mode_t mode = S_IFREG | 0644;
};

class Ditto : public testing::Test {
protected:
    void SetUp() override { fs::permissions(directory.path(), fs::perms(0777)); }

    static Outcome ditto(const Names& words, const Names& prefix = {},
                         const std::string& faults = "") {
        Names command = prefix;
        command.emplace_back(QF_DITTO);
        command.insert(command.end(), words.begin(), words.end());
        Names environment{"LSAN_OPTIONS=detect_leaks=0"};
        if (!faults.empty()) {
            environment.insert(environment.end(),
                               {preloading(QF_FAULTY_CALLS), "QF_FAULTS=" + faults,
                                "QF_FAULTS_FROM_START=1", "ASAN_OPTIONS=verify_asan_link_order=0"});
        }
        return run(command, environment);
    }
    static void expectDone(const Outcome& outcome) {
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        EXPECT_EQ(outcome.output, "");
    }
    /// Expects one line with the reason, and no trace of the work.
    static void expectRefused(const Outcome& outcome, const std::string& why) {
        EXPECT_EQ(outcome.status, 1);
        EXPECT_TRUE(outcome.output.starts_with("ditto: ")) << outcome.output;
        EXPECT_NE(outcome.output.find(why), std::string::npos) << outcome.output;
        EXPECT_EQ(outcome.output.find('\n'), outcome.output.size() - 1) << outcome.output;
    }

    /// Returns the paths below `path`, sorted, each with its kind, permissions, time in seconds and
    /// content.
    static Names treeOf(const std::string& path) {
        Names tree;
        for (const auto& item : fs::recursive_directory_iterator(path)) {
            struct stat status {};
            EXPECT_EQ(::lstat(item.path().c_str(), &status), 0);
            auto line = item.path().lexically_relative(path).string() + ' ' +
                        std::to_string(status.st_mode) + ' ';
            if (item.is_symlink()) {
                line += fs::read_symlink(item.path()).string();
            } else {
                line += std::to_string(status.st_mtim.tv_sec);
                line += item.is_directory() ? "" : ' ' + contentOf(item.path());
            }
            tree.push_back(line);
        }
        std::sort(tree.begin(), tree.end());
        return tree;
    }

    /// Makes a directory with items of every kind, in it and below.
    std::string makeSource() const {
        directory.write("src/file", "content");
        directory.write("src/Ünï cödé/ä\"b", "umlaut");
        directory.write("src/program", "#!/bin/sh\n");
        directory.write("src/.hidden", std::string(3000, 'z'));
        directory.write("src/none");
        directory.makeDirectory("src/empty");
        fs::create_symlink("file", directory / "src/link");
        fs::create_symlink("/nowhere/ö", directory / "src/broken ü");
        fs::permissions(directory / "src/program", fs::perms(0775));
        fs::permissions(directory / "src/file", fs::perms(0640));
        fs::permissions(directory / "src/Ünï cödé", fs::perms(0555));
        fs::last_write_time(directory / "src/file", longAgo());
        fs::last_write_time(directory / "src/empty", longAgo());
        fs::last_write_time(directory / "src/Ünï cödé", longAgo());
        return directory / "src";
    }

    static fs::file_time_type longAgo() {
        return std::chrono::file_clock::from_sys(
            std::chrono::sys_seconds(std::chrono::seconds(1'000'000'001)));
    }

    std::string makeArchive(const std::string& name, const std::vector<Entry>& entries) const {
        const auto path = directory / name;
        const std::unique_ptr<archive, decltype(&archive_free)> zip(archive_write_new(),
                                                                    &archive_free);
        archive_write_set_format_zip(zip.get());
        EXPECT_EQ(archive_write_open_filename(zip.get(), path.c_str()), ARCHIVE_OK);
        for (const auto& description : entries) {
            const std::unique_ptr<archive_entry, decltype(&archive_entry_free)> entry(
                archive_entry_new(), &archive_entry_free);
            archive_entry_set_pathname(entry.get(), description.name.c_str());
            archive_entry_set_mode(entry.get(), description.mode);
            archive_entry_set_size(entry.get(),
                                   static_cast<la_int64_t>(description.content.size()));
            if (S_ISLNK(description.mode)) {
                archive_entry_set_symlink(entry.get(), description.content.c_str());
            }
            EXPECT_EQ(archive_write_header(zip.get(), entry.get()), ARCHIVE_OK);
            if (S_ISREG(description.mode)) {
                archive_write_data(zip.get(), description.content.data(),
                                   description.content.size());
            }
        }
        EXPECT_EQ(archive_write_close(zip.get()), ARCHIVE_OK);
        fs::permissions(path, fs::perms(0644));
        return path;
    }

    /// Expects the directory to contain exactly these entries.
    void expectOnly(Names names) const {
        Names found;
        for (const auto& item : fs::directory_iterator(directory.path())) {
            found.push_back(item.path().filename());
        }
        std::sort(found.begin(), found.end());
        std::sort(names.begin(), names.end());
        EXPECT_EQ(found, names);
    }

    TemporaryDirectory directory;
};

// ---- Hand-made archives ------------------------------------------------------------------------

std::string littleEndian(std::uint64_t number, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) {
        text += static_cast<char>(number >> (8 * i));
    }
    return text;
}

/// Returns an archive of a file "f" that contains "x", with the claimed unpacked size and checksum.
std::string archiveThatClaims(std::uint64_t size, std::uint32_t digest = 0x8CDC1683) {
    constexpr std::uint32_t inExtraField = 0xFFFFFFFF;
    const auto sizes = littleEndian(0x0001, 2) + littleEndian(8, 2) + littleEndian(size, 8);
    const auto common = littleEndian(45, 2) + littleEndian(0, 2) + littleEndian(0, 2) +
                        littleEndian(0, 4) + littleEndian(digest, 4) + littleEndian(1, 4) +
                        littleEndian(inExtraField, 4) + littleEndian(1, 2) +
                        littleEndian(sizes.size(), 2);
    const auto local = "PK\x03\x04" + common + "f" + sizes + "x";
    const auto central = "PK\x01\x02" + littleEndian(0x032D, 2) + common + littleEndian(0, 2) +
                         littleEndian(0, 2) + littleEndian(0, 2) +
                         littleEndian(std::uint64_t{S_IFREG | 0644} << 16U, 4) +
                         littleEndian(0, 4) + "f" + sizes;
    return local + central + "PK\x05\x06" + littleEndian(0, 4) + littleEndian(1, 2) +
           littleEndian(1, 2) + littleEndian(central.size(), 4) + littleEndian(local.size(), 4) +
           littleEndian(0, 2);
}

} // namespace

TEST_F(Ditto, TellsItsUsage) {
    for (const auto& words : std::vector<Names>{{},
                                                {"-ck"},
                                                {"-ck", "/a"},
                                                {"-ck", "/a", "/b", "/c"},
                                                {"-ck", "--keepParent", "/a"},
                                                {"-ck", "/a", ""},
                                                {"-xk", "/a"},
                                                {"-xk", "--keepParent", "/a", "/b"},
                                                {"/a", "/b"},
                                                {"--help"}}) {
        const auto outcome = ditto(words);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.output, dittoUsage);
    }
}

// ---- Making archives ---------------------------------------------------------------------------

TEST_F(Ditto, GivesBackWhatItWasGiven) {
    const auto source = makeSource();
    expectDone(ditto({"-ck", "--keepParent", source, directory / "a.zip"}));
    expectDone(ditto({"-xk", directory / "a.zip", directory / "out"}));
    EXPECT_EQ(treeOf(directory / "out/src"), treeOf(source));
    expectOnly({"src", "a.zip", "out"});
}

TEST_F(Ditto, LeavesTheDirectoriesNameOutUnlessItIsKept) {
    const auto source = makeSource();
    expectDone(ditto({"-ck", source, directory / "a.zip"}));
    expectDone(ditto({"-xk", directory / "a.zip", directory / "out"}));
    EXPECT_EQ(treeOf(directory / "out"), treeOf(source));
}

TEST_F(Ditto, PacksASingleFileUnderItsName) {
    const auto file = directory.write("clip.mov", "content");
    for (const auto& words : std::vector<Names>{{"-ck"}, {"-ck", "--keepParent"}}) {
        auto command = words;
        command.insert(command.end(), {file, directory / "a.zip"});
        expectDone(ditto(command));
        expectDone(ditto({"-xk", directory / "a.zip", directory / "out"}));
        EXPECT_EQ(contentOf(directory / "out/clip.mov"), "content");
        fs::remove_all(directory / "out");
    }
}

TEST_F(Ditto, KeepsNamesThatAreNoText) {
    directory.write("src/a\xFF\xFE", "content");
    directory.write("src/two\nlines", "content");
    fs::create_symlink("\xFD", directory / "src/ö");
    expectDone(ditto({"-ck", directory / "src", directory / "a.zip"}));
    expectDone(ditto({"-xk", directory / "a.zip", directory / "out"}));
    EXPECT_EQ(treeOf(directory / "out"), treeOf(directory / "src"));
}

TEST_F(Ditto, PacksAnEmptyDirectory) {
    directory.makeDirectory("src");
    expectDone(ditto({"-ck", directory / "src", directory / "a.zip"}));
    expectDone(ditto({"-xk", directory / "a.zip", directory / "out"}));
    EXPECT_TRUE(fs::is_empty(directory / "out"));
    expectDone(ditto({"-ck", "--keepParent", directory / "src", directory / "a.zip"}));
    expectDone(ditto({"-xk", directory / "a.zip", directory / "again"}));
    EXPECT_TRUE(fs::is_empty(directory / "again/src"));
}

TEST_F(Ditto, FollowsALinkThatItIsGiven) {
    directory.write("src/file", "content");
    fs::create_symlink("src", directory / "link");
    expectDone(ditto({"-ck", "--keepParent", directory / "link", directory / "a.zip"}));
    expectDone(ditto({"-xk", directory / "a.zip", directory / "out"}));
    EXPECT_EQ(contentOf(directory / "out/link/file"), "content");
    EXPECT_FALSE(fs::is_symlink(directory / "out/link"));
}

TEST_F(Ditto, TakesPathsSpelledInAnyWay) {
    directory.write("src/sub/file", "content");
    const auto archive = directory / "a.zip";
    for (const auto& source :
         {directory / "src/", directory / "src/.", directory / "src/sub/..", directory / "src//"}) {
        expectDone(ditto({"-ck", "--keepParent", source, archive}));
        expectDone(ditto({"-xk", archive, directory / "out/"}));
        EXPECT_EQ(contentOf(directory / "out/src/sub/file"), "content") << source;
        fs::remove_all(directory / "out");
    }
    expectDone(ditto({"-ck", "src", "b.zip"}, {"env", "-C", directory.path()}));
    expectDone(ditto({"-xk", "b.zip", "new/out"}, {"env", "-C", directory.path()}));
    EXPECT_EQ(contentOf(directory / "new/out/sub/file"), "content");
}

TEST_F(Ditto, LeavesTheArchiveItselfOutOfIt) {
    directory.write("src/file", "content");
    expectDone(ditto({"-ck", directory / "src", directory / "src/a.zip"}));
    expectDone(ditto({"-xk", directory / "src/a.zip", directory / "out"}));
    EXPECT_EQ(treeOf(directory / "out").size(), 1U);
}

TEST_F(Ditto, ReplacesTheArchiveWhenTheNewOneIsComplete) {
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

TEST_F(Ditto, LeavesNothingOfAnArchiveThatItCannotMake) {
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

TEST_F(Ditto, FailsOnWhatItMayNotRead) {
    directory.write("src/file", "content");
    directory.write("src/secret", "content");
    fs::permissions(directory / "src/secret", fs::perms(0));
    const auto outcome = ditto({"-ck", directory / "src", directory / "a.zip"}, asOrdinaryUser());
    expectRefused(outcome, "secret");
    expectOnly({"src"});
}

TEST_F(Ditto, FailsOnAFullVolume) {
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

TEST_F(Ditto, DeletesWhatAKilledOneLeftBehind) {
    const auto source = makeSource();
    ASSERT_EQ(ditto({"-ck", source, directory / "a.zip"}, {}, "fsync:1:kill").status, -1);
    expectDone(ditto({"-ck", source, directory / "a.zip"}));
    expectOnly({"src", "a.zip"});
    ASSERT_EQ(ditto({"-xk", directory / "a.zip", directory / "out"}, {}, "renameat2:1:kill").status,
              -1);
    expectDone(ditto({"-xk", directory / "a.zip", directory / "out"}));
    expectOnly({"src", "a.zip", "out"});
}

// ---- Together with other tools -----------------------------------------------------------------

TEST_F(Ditto, MakesArchivesThatOtherToolsOpen) {
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

TEST_F(Ditto, OpensTheArchivesOfOtherTools) {
    const auto source = makeSource();
    const auto zip =
        run({"env", "-C", directory.path(), "zip", "-qry", "zip.zip", "src"}, {"LC_ALL=C.UTF-8"});
    ASSERT_EQ(zip.status, 0) << zip.output;
    const auto bsdtar = run({"bsdtar", "-c", "--format", "zip", "-f", directory / "bsdtar.zip",
                             "-C", directory.path(), "src"},
                            {"LC_ALL=C.UTF-8"});
    ASSERT_EQ(bsdtar.status, 0) << bsdtar.output;
    for (const std::string name : {"zip", "bsdtar"}) {
        expectDone(ditto({"-xk", directory / (name + ".zip"), directory / name}));
        EXPECT_EQ(treeOf(directory / (name + "/src")), treeOf(source)) << name;
    }
}

// ---- Unpacking archives ------------------------------------------------------------------------

TEST_F(Ditto, MakesTheDirectoryAndThoseOnTheWay) {
    const auto archive = makeArchive("a.zip", {{"file", "content"}});
    expectDone(ditto({"-xk", archive, directory / "new/deeper/out"}));
    EXPECT_EQ(contentOf(directory / "new/deeper/out/file"), "content");
}

TEST_F(Ditto, UnpacksWhereAVolumeCannotRefuseToReplace) {
    const auto archive = makeArchive("a.zip", {{"file", "content"}});
    const auto withoutRefusal = "renameat2:1:" + std::to_string(EINVAL);
    expectDone(ditto({"-xk", archive, directory / "out"}, {}, withoutRefusal));
    EXPECT_EQ(contentOf(directory / "out/file"), "content");
    expectOnly({"a.zip", "out"});
}

TEST_F(Ditto, MergesIntoADirectoryThatIsThere) {
    const auto archive = makeArchive("a.zip", {{"file", "new"}, {"sub/file", "new"}});
    directory.write("out/file", "old");
    directory.write("out/sub/other", "old");
    expectDone(ditto({"-xk", archive, directory / "out"}));
    EXPECT_EQ(contentOf(directory / "out/file"), "new");
    EXPECT_EQ(contentOf(directory / "out/sub/file"), "new");
    EXPECT_EQ(contentOf(directory / "out/sub/other"), "old");
}

TEST_F(Ditto, NeverUnpacksThroughALinkInADirectoryThatIsThere) {
    const auto archive = makeArchive("a.zip", {{"link/file", "new"}});
    directory.makeDirectory("outside");
    directory.makeDirectory("out");
    fs::create_symlink(directory / "outside", directory / "out/link");
    expectRefused(ditto({"-xk", archive, directory / "out"}), "symlink");
    EXPECT_TRUE(fs::is_empty(directory / "outside"));
}

TEST_F(Ditto, RefusesAPlaceThatIsNoDirectory) {
    const auto archive = makeArchive("a.zip", {{"file", "content"}});
    const auto file = directory.write("out", "kept");
    expectRefused(ditto({"-xk", archive, file}), "out");
    EXPECT_EQ(contentOf(file), "kept");
    expectRefused(ditto({"-xk", archive, file + "/sub"}), "sub");
    expectOnly({"a.zip", "out"});
}

TEST_F(Ditto, RefusesWhatIsNoArchive) {
    expectRefused(ditto({"-xk", directory / "missing.zip", directory / "out"}), "missing.zip");
    expectRefused(ditto({"-xk", directory.write("a.zip", "text"), directory / "out"}), "a.zip");
    expectRefused(ditto({"-xk", directory.write("b.zip"), directory / "out"}), "b.zip");
    expectRefused(ditto({"-xk", directory.makeDirectory("c.zip"), directory / "out"}), "c.zip");
    EXPECT_FALSE(fs::exists(directory / "out"));
}

TEST_F(Ditto, RefusesEntriesThatWouldLeaveTheDirectory) {
    const auto outside = directory.makeDirectory("outside");
    const std::string leaves = "it would leave the folder";
    const std::vector<std::pair<std::vector<Entry>, std::string>> rows = {
        {{{"../evil", "x"}}, leaves},
        {{{"ok", "x"}, {"../evil", "x"}}, leaves},
        {{{"a/../../evil", "x"}}, leaves},
        {{{"a/..", "x"}}, leaves},
        {{{"..", "x"}}, leaves},
        {{{outside + "/evil", "x"}}, leaves},
        {{{"//evil", "x"}}, leaves},
        {{{"link", outside, S_IFLNK | 0777}, {"link/evil", "x"}}, "symlink"},
        {{{"link", "..", S_IFLNK | 0777}, {"link/evil", "x"}}, "symlink"},
        {{{"a/link", "../../outside", S_IFLNK | 0777}, {"a/link/deep/evil", "x"}}, "symlink"},
        {{{"one", "two", S_IFLNK | 0777}, {"two", outside, S_IFLNK | 0777}, {"one/evil", "x"}},
         "symlink"}};
    for (const auto& [entries, why] : rows) {
        const auto archive = makeArchive("a.zip", entries);
        expectRefused(ditto({"-xk", archive, directory / "out"}), why);
        EXPECT_TRUE(fs::is_empty(outside)) << entries.back().name;
        expectOnly({"a.zip", "outside"});
    }
}

TEST_F(Ditto, StaysInTheDirectoryWhereverBackslashesAreTakenForSlashes) {
    for (const char* name : {"..\\evil", "a\\..\\..\\evil", "\\evil", "C:\\evil"}) {
        auto bytes = contentOf(makeArchive("a.zip", {{name, "x"}}));
        // The system that the archive was made on: one whose paths have backslashes.
        bytes.at(bytes.find("PK\x01\x02") + 5) = 0;
        static_cast<void>(ditto({"-xk", directory.write("a.zip", bytes), directory / "out"}));
        fs::remove_all(directory / "out");
        expectOnly({"a.zip"});
    }
    EXPECT_FALSE(fs::exists("/evil"));
}

TEST_F(Ditto, StaysInTheDirectoryWhicheverOfTwoNamesItGoesBy) {
    const std::string good = "sub/evil";
    const std::string evil = "../.evil";
    const auto bytes = contentOf(makeArchive("a.zip", {{good, "x"}}));
    for (const auto at : {bytes.find(good), bytes.rfind(good)}) {
        auto changed = bytes;
        changed.replace(at, evil.size(), evil);
        static_cast<void>(ditto({"-xk", directory.write("a.zip", changed), directory / "out"}));
        fs::remove_all(directory / "out");
        expectOnly({"a.zip"});
    }
}

TEST_F(Ditto, ReplacesALinkByWhatComesUnderItsName) {
    const auto victim = directory.write("victim", "kept");
    const auto outside = directory.makeDirectory("outside");
    const auto file = makeArchive("a.zip", {{"l", victim, S_IFLNK | 0777}, {"l", "new"}});
    expectDone(ditto({"-xk", file, directory / "a"}));
    EXPECT_EQ(contentOf(directory / "a/l"), "new");
    const auto withDirectory = makeArchive(
        "b.zip", {{"l", outside, S_IFLNK | 0777}, {"l/", "", S_IFDIR | 0755}, {"l/file", "new"}});
    static_cast<void>(ditto({"-xk", withDirectory, directory / "b"}));
    EXPECT_EQ(contentOf(victim), "kept");
    EXPECT_TRUE(fs::is_empty(outside));
}

TEST_F(Ditto, RefusesEntriesOfOtherKinds) {
    for (const mode_t kind : std::vector<mode_t>{S_IFCHR, S_IFBLK, S_IFSOCK}) {
        const auto archive = makeArchive("a.zip", {{"plain", "x"}});
        // The kind is in the upper half of the attributes in the central directory.
        auto bytes = contentOf(archive);
        const auto central = bytes.find("PK\x01\x02");
        ASSERT_NE(central, std::string::npos);
        bytes.replace(central + 40, 2, littleEndian(kind | 0644U, 2));
        expectRefused(ditto({"-xk", directory.write("b.zip", bytes), directory / "out"}),
                      "no file, folder or link");
        EXPECT_FALSE(fs::exists(directory / "out"));
    }
}

TEST_F(Ditto, TakesTheRightsAwayThatMakeProgramsRunAsOthers) {
    const auto archive =
        makeArchive("a.zip", {{"program", "x", S_IFREG | 06755}, {"sub/", "", S_IFDIR | 03777}});
    expectDone(ditto({"-xk", archive, directory / "out"}));
    EXPECT_EQ(fs::status(directory / "out/program").permissions(), fs::perms(0755));
    EXPECT_EQ(fs::status(directory / "out/sub").permissions(), fs::perms(0777));
}

TEST_F(Ditto, RefusesEntriesWithoutAName) {
    const auto archive = makeArchive("a.zip", {{"name", "x"}});
    auto bytes = contentOf(archive);
    for (auto at = bytes.find("name"); at != std::string::npos; at = bytes.find("name", at)) {
        bytes.replace(at, 4, std::string(4, '\0'));
    }
    expectRefused(ditto({"-xk", directory.write("b.zip", bytes), directory / "out"}), "no name");
    EXPECT_FALSE(fs::exists(directory / "out"));
}

TEST_F(Ditto, RefusesSizesThatTheVolumeHasNoRoomFor) {
    for (const std::uint64_t size : {std::uint64_t{1} << 60U, (std::uint64_t{1} << 63U) - 1,
                                     std::uint64_t{1} << 63U, ~std::uint64_t{0}}) {
        const auto archive = directory.write("a.zip", archiveThatClaims(size));
        EXPECT_EQ(ditto({"-xk", archive, directory / "out"}).status, 1) << size;
        expectOnly({"a.zip"});
    }
    expectRefused(
        ditto({"-xk", directory.write("a.zip", archiveThatClaims(std::uint64_t{1} << 60U)),
               directory / "out"}),
        "the volume has no room for it");
}

TEST_F(Ditto, RefusesContentThatIsNotAsTheArchiveSays) {
    expectDone(ditto({"-xk", directory.write("a.zip", archiveThatClaims(1)), directory / "good"}));
    EXPECT_EQ(contentOf(directory / "good/f"), "x");
    for (const auto& archive : {archiveThatClaims(0), archiveThatClaims(2),
                                archiveThatClaims(100'000), archiveThatClaims(1, 0x12345678)}) {
        const auto outcome = ditto({"-xk", directory.write("a.zip", archive), directory / "out"});
        EXPECT_EQ(outcome.status, 1) << outcome.output;
        expectOnly({"a.zip", "good"});
    }
}

TEST_F(Ditto, RefusesEveryArchiveThatIsCutShort) {
    const auto bytes = contentOf(makeArchive("a.zip", {{"sub/file", "content"}, {"b", "x"}}));
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        const auto archive = directory.write("cut.zip", bytes.substr(0, length));
        EXPECT_EQ(ditto({"-xk", archive, directory / "out"}).status, 1) << length;
        EXPECT_FALSE(fs::exists(directory / "out")) << length;
    }
    expectOnly({"a.zip", "cut.zip"});
}

TEST_F(Ditto, SurvivesArchivesThatAreDamagedAnywhere) {
    const auto bytes =
        contentOf(makeArchive("a.zip", {{"sub/file", "content"}, {"l", "b", S_IFLNK | 0777}}));
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        auto damaged = bytes;
        damaged[at] = static_cast<char>(~damaged[at]);
        const auto archive = directory.write("bad.zip", damaged);
        const auto outcome = ditto({"-xk", archive, directory / "out"});
        EXPECT_TRUE(outcome.status == 0 || outcome.status == 1) << at << outcome.output;
        EXPECT_EQ(fs::exists(directory / "out"), outcome.status == 0) << at;
        fs::remove_all(directory / "out");
        expectOnly({"a.zip", "bad.zip"});
    }
}

TEST_F(Ditto, LeavesNothingOfDirectoriesThatMayNotBeChanged) {
    const auto archive = makeArchive("a.zip", {{"sub/", "", S_IFDIR | 0555},
                                               {"sub/deep/", "", S_IFDIR | 0},
                                               {"sub/deep/file", "x"},
                                               {"../evil", "x"}});
    expectRefused(ditto({"-xk", archive, directory / "out"}, asOrdinaryUser()), "leave the folder");
    expectOnly({"a.zip"});
}
