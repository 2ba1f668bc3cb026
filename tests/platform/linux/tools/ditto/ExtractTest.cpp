#include "tests/platform/linux/tools/ditto/DittoHarness.h"
#include "tests/support/NamedCase.h"

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string_view>

namespace fs = std::filesystem;

namespace {

/// An entry of an archive that a test makes.
struct Entry {
    std::string name;
    std::string content;
    mode_t mode = S_IFREG | 0644;
};

class DittoExtract : public DittoHarness {
protected:
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
};

std::string littleEndian(std::uint64_t number, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) {
        text += static_cast<char>(number >> (8 * i));
    }
    return text;
}

/// An archive of a file "f" that holds "x", unpacked size and digest as they are claimed.
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

TEST_F(DittoExtract, FillsAVolumeToItsLastByte) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const auto archive = makeArchive("a.zip", {{"file", std::string(64UL * 1024, 'x')}});
    const auto volume = directory.makeDirectory("volume");
    expectDone(ditto({"-xk", archive, volume}, withMountOn(volume, "size=64k")));
}

TEST_F(DittoExtract, OpensAnArchiveOfZip) {
    const auto source = makeSource();
    const auto packed =
        run({"env", "-C", directory.path(), "zip", "-qry", "a.zip", "src"}, {"LC_ALL=C.UTF-8"});
    ASSERT_EQ(packed.status, 0) << packed.output;
    expectDone(ditto({"-xk", directory / "a.zip", directory / "out"}));
    EXPECT_EQ(treeOf(directory / "out/src"), treeOf(source));
}

TEST_F(DittoExtract, OpensAnArchiveOfBsdtar) {
    const auto source = makeSource();
    const auto packed = run({"bsdtar", "-c", "--format", "zip", "-f", directory / "a.zip", "-C",
                             directory.path(), "src"},
                            {"LC_ALL=C.UTF-8"});
    ASSERT_EQ(packed.status, 0) << packed.output;
    expectDone(ditto({"-xk", directory / "a.zip", directory / "out"}));
    EXPECT_EQ(treeOf(directory / "out/src"), treeOf(source));
}

TEST_F(DittoExtract, MakesTheDirectoryAndThoseOnTheWay) {
    const auto archive = makeArchive("a.zip", {{"file", "content"}});
    expectDone(ditto({"-xk", archive, directory / "new/deeper/out"}));
    EXPECT_EQ(contentOf(directory / "new/deeper/out/file"), "content");
}

TEST_F(DittoExtract, UnpacksWhereAVolumeCannotRefuseToReplace) {
    const auto archive = makeArchive("a.zip", {{"file", "content"}});
    const auto withoutRefusal = "renameat2:1:" + std::to_string(EINVAL);
    expectDone(ditto({"-xk", archive, directory / "out"}, {}, withoutRefusal));
    EXPECT_EQ(contentOf(directory / "out/file"), "content");
    expectOnly({"a.zip", "out"});
}

TEST_F(DittoExtract, MergesIntoADirectoryThatIsThere) {
    const auto archive = makeArchive("a.zip", {{"file", "new"}, {"sub/file", "new"}});
    directory.write("out/file", "old");
    directory.write("out/sub/other", "old");
    expectDone(ditto({"-xk", archive, directory / "out"}));
    EXPECT_EQ(contentOf(directory / "out/file"), "new");
    EXPECT_EQ(contentOf(directory / "out/sub/file"), "new");
    EXPECT_EQ(contentOf(directory / "out/sub/other"), "old");
}

TEST_F(DittoExtract, NeverUnpacksThroughALinkInADirectoryThatIsThere) {
    const auto archive = makeArchive("a.zip", {{"link/file", "new"}});
    directory.makeDirectory("outside");
    directory.makeDirectory("out");
    fs::create_symlink(directory / "outside", directory / "out/link");
    expectRefused(ditto({"-xk", archive, directory / "out"}), "symlink");
    EXPECT_TRUE(fs::is_empty(directory / "outside"));
}

TEST_F(DittoExtract, RefusesAPlaceThatIsNoDirectory) {
    const auto archive = makeArchive("a.zip", {{"file", "content"}});
    const auto file = directory.write("out", "kept");
    expectRefused(ditto({"-xk", archive, file}), "out");
    EXPECT_EQ(contentOf(file), "kept");
    expectRefused(ditto({"-xk", archive, file + "/sub"}), "sub");
    expectOnly({"a.zip", "out"});
}

TEST_F(DittoExtract, RefusesWhatIsNoArchive) {
    expectRefused(ditto({"-xk", directory / "missing.zip", directory / "out"}), "missing.zip");
    expectRefused(ditto({"-xk", directory.write("a.zip", "text"), directory / "out"}), "a.zip");
    expectRefused(ditto({"-xk", directory.write("b.zip"), directory / "out"}), "b.zip");
    expectRefused(ditto({"-xk", directory.makeDirectory("c.zip"), directory / "out"}), "c.zip");
    EXPECT_FALSE(fs::exists(directory / "out"));
}

/// An archive that would put something outside the directory; "OUTSIDE" is the path of another one.
struct Escape : NamedCase {
    std::vector<Entry> entries;
    const char* why;
};

class DittoEscape : public DittoExtract, public testing::WithParamInterface<Escape> {
protected:
    /// Replaces "OUTSIDE" at the beginning of a text.
    static void resolve(std::string& text, const std::string& outside) {
        constexpr std::string_view mark = "OUTSIDE";
        if (text.starts_with(mark)) {
            text.replace(0, mark.size(), outside);
        }
    }
};

TEST_P(DittoEscape, IsRefused) {
    const auto outside = directory.makeDirectory("outside");
    auto entries = GetParam().entries;
    for (auto& entry : entries) {
        resolve(entry.name, outside);
        resolve(entry.content, outside);
    }
    expectRefused(ditto({"-xk", makeArchive("a.zip", entries), directory / "out"}), GetParam().why);
    EXPECT_TRUE(fs::is_empty(outside));
    expectOnly({"a.zip", "outside"});
}

constexpr const char* leaves = "it would leave the folder";
constexpr mode_t linkMode = S_IFLNK | 0777;

INSTANTIATE_TEST_SUITE_P(
    All, DittoEscape,
    testing::Values(
        Escape{{"Above"}, {{"../evil", "x"}}, leaves},
        Escape{{"AboveBehindAGoodOne"}, {{"ok", "x"}, {"../evil", "x"}}, leaves},
        Escape{{"AboveTheTop"}, {{"a/../../evil", "x"}}, leaves},
        Escape{{"TheTop"}, {{"a/..", "x"}}, leaves}, Escape{{"TheOneAbove"}, {{"..", "x"}}, leaves},
        Escape{{"AbsolutePath"}, {{"OUTSIDE/evil", "x"}}, leaves},
        Escape{{"AbsolutePathWithTwoSlashes"}, {{"//evil", "x"}}, leaves},
        Escape{{"Link"}, {{"link", "OUTSIDE", linkMode}, {"link/evil", "x"}}, "symlink"},
        Escape{{"RelativeLink"}, {{"link", "..", linkMode}, {"link/evil", "x"}}, "symlink"},
        Escape{{"DeepLink"},
               {{"a/link", "../../outside", linkMode}, {"a/link/deep/evil", "x"}},
               "symlink"},
        Escape{{"LinkToALink"},
               {{"one", "two", linkMode}, {"two", "OUTSIDE", linkMode}, {"one/evil", "x"}},
               "symlink"}),
    nameOfCase);

class DittoBackslash : public DittoExtract, public testing::WithParamInterface<const char*> {};

TEST_P(DittoBackslash, StaysInTheDirectoryWhereverBackslashesAreTakenForSlashes) {
    auto bytes = contentOf(makeArchive("a.zip", {{GetParam(), "x"}}));
    // The system that the archive was made on: one whose paths have backslashes.
    bytes.at(bytes.find("PK\x01\x02") + 5) = 0;
    static_cast<void>(ditto({"-xk", directory.write("a.zip", bytes), directory / "out"}));
    fs::remove_all(directory / "out");
    expectOnly({"a.zip"});
    EXPECT_FALSE(fs::exists("/evil"));
}

INSTANTIATE_TEST_SUITE_P(, DittoBackslash,
                         testing::Values("..\\evil", "a\\..\\..\\evil", "\\evil", "C:\\evil"));

/// Which of the two places is changed where an archive has a name.
enum class NamePlace { first, last };

class DittoName : public DittoExtract, public testing::WithParamInterface<NamedValue<NamePlace>> {};

TEST_P(DittoName, DoesNotLeadOutOfTheDirectory) {
    const std::string good = "sub/evil";
    const std::string evil = "../.evil";
    auto bytes = contentOf(makeArchive("a.zip", {{good, "x"}}));
    const auto at = GetParam().value == NamePlace::first ? bytes.find(good) : bytes.rfind(good);
    bytes.replace(at, evil.size(), evil);
    static_cast<void>(ditto({"-xk", directory.write("a.zip", bytes), directory / "out"}));
    fs::remove_all(directory / "out");
    expectOnly({"a.zip"});
}

INSTANTIATE_TEST_SUITE_P(, DittoName,
                         testing::Values(NamedValue<NamePlace>{{"OfTheFile"}, NamePlace::first},
                                         NamedValue<NamePlace>{{"InTheList"}, NamePlace::last}),
                         nameOfCase);

TEST_F(DittoExtract, ReplacesALinkByWhatComesUnderItsName) {
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

class DittoKind : public DittoExtract, public testing::WithParamInterface<mode_t> {};

TEST_P(DittoKind, IsRefusedWhereItIsNoFileDirectoryOrLink) {
    const auto archive = makeArchive("a.zip", {{"plain", "x"}});
    // The kind is in the upper half of the attributes in the list at the end.
    auto bytes = contentOf(archive);
    const auto central = bytes.find("PK\x01\x02");
    ASSERT_NE(central, std::string::npos);
    bytes.replace(central + 40, 2, littleEndian(GetParam() | 0644U, 2));
    expectRefused(ditto({"-xk", directory.write("b.zip", bytes), directory / "out"}),
                  "no file, folder or link");
    EXPECT_FALSE(fs::exists(directory / "out"));
}

INSTANTIATE_TEST_SUITE_P(, DittoKind, testing::Values(S_IFCHR, S_IFBLK, S_IFSOCK));

TEST_F(DittoExtract, TakesTheRightsAwayThatMakeProgramsRunAsOthers) {
    const auto archive =
        makeArchive("a.zip", {{"program", "x", S_IFREG | 06755}, {"sub/", "", S_IFDIR | 03777}});
    expectDone(ditto({"-xk", archive, directory / "out"}));
    EXPECT_EQ(fs::status(directory / "out/program").permissions(), fs::perms(0755));
    EXPECT_EQ(fs::status(directory / "out/sub").permissions(), fs::perms(0777));
}

TEST_F(DittoExtract, RefusesEntriesWithoutAName) {
    const auto archive = makeArchive("a.zip", {{"name", "x"}});
    auto bytes = contentOf(archive);
    for (auto at = bytes.find("name"); at != std::string::npos; at = bytes.find("name", at)) {
        bytes.replace(at, 4, std::string(4, '\0'));
    }
    expectRefused(ditto({"-xk", directory.write("b.zip", bytes), directory / "out"}), "no name");
    EXPECT_FALSE(fs::exists(directory / "out"));
}

class DittoSize : public DittoExtract, public testing::WithParamInterface<std::uint64_t> {};

TEST_P(DittoSize, IsRefusedWhereTheVolumeHasNoRoomForIt) {
    const auto archive = directory.write("a.zip", archiveThatClaims(GetParam()));
    EXPECT_EQ(ditto({"-xk", archive, directory / "out"}).status, 1);
    expectOnly({"a.zip"});
}

constexpr std::uint64_t exbibyte = std::uint64_t{1} << 60U;
constexpr std::uint64_t firstNegative = std::uint64_t{1} << 63U;

INSTANTIATE_TEST_SUITE_P(, DittoSize,
                         testing::Values(exbibyte, firstNegative - 1, firstNegative,
                                         ~std::uint64_t{0}));

TEST_F(DittoExtract, SaysThatTheVolumeHasNoRoom) {
    expectRefused(
        ditto({"-xk", directory.write("a.zip", archiveThatClaims(exbibyte)), directory / "out"}),
        "the volume has no room for it");
}

TEST_F(DittoExtract, TakesContentThatIsAsTheArchiveSays) {
    expectDone(ditto({"-xk", directory.write("a.zip", archiveThatClaims(1)), directory / "good"}));
    EXPECT_EQ(contentOf(directory / "good/f"), "x");
}

struct Claim : NamedCase {
    std::uint64_t size;
    std::uint32_t digest = 0x8CDC1683;
};

class DittoClaim : public DittoExtract, public testing::WithParamInterface<Claim> {};

TEST_P(DittoClaim, IsRefusedWhereTheContentIsNotAsTheArchiveSays) {
    const auto archive = archiveThatClaims(GetParam().size, GetParam().digest);
    const auto outcome = ditto({"-xk", directory.write("a.zip", archive), directory / "out"});
    EXPECT_EQ(outcome.status, 1) << outcome.output;
    expectOnly({"a.zip"});
}

/// What is lost of a size that is counted in 32 bits.
constexpr std::uint64_t fourGibibytes = std::uint64_t{1} << 32U;

INSTANTIATE_TEST_SUITE_P(, DittoClaim,
                         testing::Values(Claim{{"Empty"}, 0}, Claim{{"Longer"}, 2},
                                         Claim{{"MuchLonger"}, 100'000},
                                         Claim{{"FourGibibytesLonger"}, 1 + fourGibibytes},
                                         Claim{{"OtherDigest"}, 1, 0x12345678}),
                         nameOfCase);

TEST_F(DittoExtract, RefusesEveryArchiveThatIsCutShort) {
    const auto bytes = contentOf(makeArchive("a.zip", {{"sub/file", "content"}, {"b", "x"}}));
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        const auto archive = directory.write("cut.zip", bytes.substr(0, length));
        EXPECT_EQ(ditto({"-xk", archive, directory / "out"}).status, 1) << length;
        EXPECT_FALSE(fs::exists(directory / "out")) << length;
    }
    expectOnly({"a.zip", "cut.zip"});
}

TEST_F(DittoExtract, SurvivesArchivesThatAreDamagedAnywhere) {
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

TEST_F(DittoExtract, LeavesNothingOfDirectoriesThatMayNotBeChanged) {
    const auto archive = makeArchive("a.zip", {{"sub/", "", S_IFDIR | 0555},
                                               {"sub/deep/", "", S_IFDIR | 0},
                                               {"sub/deep/file", "x"},
                                               {"../evil", "x"}});
    expectRefused(ditto({"-xk", archive, directory / "out"}, asOrdinaryUser()), "leave the folder");
    expectOnly({"a.zip"});
}

} // namespace
