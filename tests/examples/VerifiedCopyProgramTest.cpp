// The example program on real media: whole ones, full ones, read-only ones, and one that alters
// what it is given.

#include "tests/support/RunCommand.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace {

class VerifiedCopyProgram : public testing::Test {
protected:
    TemporaryDirectory directory;

    std::vector<std::string> environment(std::vector<std::string> more = {}) const {
        more.push_back("HOME=" + directory.path());
        return more;
    }

    Outcome copy(const std::vector<std::string>& arguments,
                 const std::vector<std::string>& prefix = {},
                 const std::vector<std::string>& more = {}) const {
        auto command = prefix;
        command.emplace_back(QF_PROGRAM);
        command.insert(command.end(), arguments.begin(), arguments.end());
        return run(command, environment(more));
    }
};

std::string sizedText(std::size_t size) {
    std::string text(size, '\0');
    for (std::size_t index = 0; index < size; ++index) {
        text[index] = static_cast<char>(index % 251);
    }
    return text;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

} // namespace

TEST_F(VerifiedCopyProgram, CopiesToEveryPlaceAndReportsTheDigests) {
    const auto source = directory.write("source", "abc");
    directory.makeDirectory("there");
    const auto outcome =
        copy({source, directory / "copy", directory / "there", directory / "new/copy"});
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    const std::string digest = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad  ";
    for (const auto& path :
         {source, directory / "copy", directory / "there/source", directory / "new/copy"}) {
        EXPECT_EQ(contentOf(path), "abc");
        EXPECT_TRUE(contains(outcome.output, digest + path + "\n")) << outcome.output;
    }
    EXPECT_TRUE(contains(outcome.output, "100 %")) << outcome.output;
}

TEST_F(VerifiedCopyProgram, TakesPathsAsTheSystemDoes) {
    directory.write("source", "another file");
    directory.write("far/source", "the file");
    fs::create_directory_symlink(directory.makeDirectory("far/away"), directory / "link");
    const auto outcome =
        copy({"--quiet", "link/../source", "link/../copy"}, {"env", "-C", directory.path()});
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_EQ(contentOf(directory / "far/copy"), "the file");
}

TEST_F(VerifiedCopyProgram, TakesTheDigestThatItIsToldTo) {
    const auto source = directory.write("source", "abc");
    const auto md5 = copy({"--verify", "md5", "--quiet", source, directory / "copy"});
    EXPECT_TRUE(contains(md5.output, "900150983cd24fb0d6963f7d28e17f72  " + source)) << md5.output;
    EXPECT_FALSE(contains(md5.output, " %"));
    const auto none = copy({"--verify", "none", "--quiet", source, directory / "copy"});
    EXPECT_EQ(none.status, 0);
    EXPECT_FALSE(contains(none.output, source)) << none.output;
}

TEST_F(VerifiedCopyProgram, RefusesWhatItDoesNotUnderstand) {
    const auto source = directory.write("source", "abc");
    EXPECT_NE(copy({}).status, 0);
    EXPECT_NE(copy({source}).status, 0);
    EXPECT_NE(copy({"--verify", "crc", source, directory / "copy"}).status, 0);
    EXPECT_FALSE(fs::exists(directory / "copy"));
    EXPECT_EQ(copy({"--help"}).status, 0);
}

TEST_F(VerifiedCopyProgram, NeverDestroysItsSource) {
    const auto source = directory.write("source", "precious");
    fs::create_hard_link(source, directory / "other name");
    const auto outcome = copy({source, directory / "other name"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(contains(outcome.output, "Error: Unable to open destination file " +
                                             (directory / "other name") +
                                             ". Aborting copy process..."))
        << outcome.output;
    EXPECT_EQ(contentOf(source), "precious");
}

TEST_F(VerifiedCopyProgram, TellsOfAMediumThatAltersTheData) {
    if (QF_SANITIZED) {
        GTEST_SKIP() << "a sanitizer's own functions take the place of the altering ones";
    }
    const auto source = directory.write("source", sizedText(200'000));
    const auto outcome =
        copy({source, directory / "good", directory / "bad"}, {},
             {preloading(QF_ALTERING_MEDIUM), "QF_ALTERED=" + (directory / "bad")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(contains(outcome.output, (directory / "bad") + " is NOT what was read"))
        << outcome.output;
    EXPECT_FALSE(contains(outcome.output, (directory / "good") + " is NOT"));
    EXPECT_EQ(contentOf(directory / "good"), contentOf(source));
    EXPECT_NE(contentOf(directory / "bad"), contentOf(source));
    const auto digest = run({"openssl", "dgst", "-sha256", "-r", directory / "bad"});
    EXPECT_TRUE(contains(outcome.output, digest.output.substr(0, 64) + "  " + (directory / "bad")))
        << outcome.output << digest.output;
}

TEST_F(VerifiedCopyProgram, TellsOfAMediumThatTakesNotEverything) {
    if (QF_SANITIZED) {
        GTEST_SKIP() << "a sanitizer's own functions take the place of the failing ones";
    }
    const auto source = directory.write("source", sizedText(200'000));
    const auto lost = "QF_LOST=" + (directory / "lost");
    const auto outcome = copy({source, directory / "good", directory / "lost"}, {},
                              {preloading(QF_ALTERING_MEDIUM), lost});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(contains(outcome.output, (directory / "lost") + " is NOT whole on its medium"))
        << outcome.output;
    EXPECT_FALSE(contains(outcome.output, (directory / "good") + " is NOT"));
    const auto unverified = copy({"--verify", "none", source, directory / "lost"}, {},
                                 {preloading(QF_ALTERING_MEDIUM), lost});
    EXPECT_EQ(unverified.status, 0) << unverified.output;
}

TEST_F(VerifiedCopyProgram, ReadsFromTheMediumOnRequest) {
    if (QF_SANITIZED) {
        GTEST_SKIP() << "a sanitizer's own functions take the place of the failing ones";
    }
    const auto source = directory.write("source", sizedText(200'000));
    const auto copyTo = [&](const std::vector<std::string>& options) {
        auto arguments = options;
        arguments.insert(arguments.end(), {source, directory / "good", directory / "bad"});
        return copy(arguments, {},
                    {preloading(QF_ALTERING_MEDIUM), "QF_DECAYING=" + (directory / "bad")});
    };
    EXPECT_EQ(copyTo({}).status, 0);
    const auto outcome = copyTo({"--from-medium"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(contains(outcome.output, (directory / "bad") + " is NOT what was read"))
        << outcome.output;
    EXPECT_FALSE(contains(outcome.output, (directory / "good") + " is NOT"));
    const auto digest = run({"openssl", "dgst", "-sha256", "-r", directory / "bad"});
    EXPECT_TRUE(contains(outcome.output, digest.output.substr(0, 64) + "  " + (directory / "bad")))
        << outcome.output << digest.output;
}

TEST_F(VerifiedCopyProgram, TellsOfAFullDiskAndServesTheOthers) {
    if (const auto why = whyNoMounts(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    const auto source = directory.write("source", sizedText(1'000'000));
    const auto disk = directory.makeDirectory("disk");
    const auto outcome =
        copy({source, disk + "/full", directory / "good"}, withMountOn(disk, "size=256k"));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(contains(outcome.output, "Error writing file " + disk + "/full: 1"))
        << outcome.output;
    EXPECT_TRUE(contains(outcome.output, disk + "/full is NOT what was read"));
    EXPECT_FALSE(contains(outcome.output, (directory / "good") + " is NOT"));
    EXPECT_EQ(contentOf(directory / "good"), contentOf(source));
}

TEST_F(VerifiedCopyProgram, TellsOfADiskThatLosesWhatItHasAccepted) {
    if (const auto why = whyNoMounts(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    const auto probe = run({"sh", "-c", "command -v mkfs.ext4 && losetup -f"});
    if (probe.status != 0) {
        GTEST_SKIP() << "no loop device or mkfs.ext4: " << probe.output;
    }
    const auto source = directory.write("source", sizedText(32'000'000));
    const auto memory = directory.makeDirectory("memory");
    const auto disk = directory.makeDirectory("disk");
    // A volume of 64 MiB for which there are only 12.
    auto command = withMountOn(memory, "size=12m");
    const std::vector<std::string> volume{"sh",
                                          "-c",
                                          R"(truncate -s 64M "$1/image" &&
           mkfs.ext4 -q -O ^has_journal "$1/image" && mount -o loop "$1/image" "$2" &&
           shift 2 && exec "$@")",
                                          "sh",
                                          memory,
                                          disk};
    command.insert(command.end(), volume.begin(), volume.end());
    const auto outcome = copy({source, disk + "/lost", directory / "good"}, command);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(contains(outcome.output, disk + "/lost is NOT whole on its medium"))
        << outcome.output;
    EXPECT_FALSE(contains(outcome.output, (directory / "good") + " is NOT"));
}

TEST_F(VerifiedCopyProgram, AReadOnlyDiskTakesNothing) {
    if (const auto why = whyNoMounts(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    const auto source = directory.write("source", "content");
    const auto disk = directory.makeDirectory("disk");
    const auto file = copy({source, disk + "/copy"}, withMountOn(disk, "ro"));
    EXPECT_EQ(file.status, 1);
    EXPECT_TRUE(contains(file.output, "Error: Unable to open destination file " + disk + "/copy"))
        << file.output;
    const auto inFolder = copy({source, disk + "/new/copy"}, withMountOn(disk, "ro"));
    EXPECT_EQ(inFolder.status, 1);
    EXPECT_TRUE(contains(inFolder.output, "destination directory " + disk + "/new doesn't exist"))
        << inFolder.output;
}

TEST_F(VerifiedCopyProgram, ASourceThatMayNotBeRead) {
    const auto user = asOrdinaryUser();
    const auto source = directory.write("source", "secret");
    ASSERT_EQ(::chmod(source.c_str(), 0), 0);
    ASSERT_EQ(::chmod(directory.path().c_str(), 0777), 0);
    const auto probe = user.empty() ? Outcome{0, ""} : run([&] {
        auto command = user;
        command.emplace_back("true");
        return command;
    }());
    if (probe.status != 0) {
        GTEST_SKIP() << "nobody else's rights can be taken: " << probe.output;
    }
    const auto outcome = copy({source, directory / "copy"}, user);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(contains(outcome.output, "Error: Unable to read source file " + source))
        << outcome.output;
    EXPECT_FALSE(fs::exists(directory / "copy"));
}

TEST_F(VerifiedCopyProgram, CtrlCCancelsAndSaysWhatIsIncomplete) {
    // The source never ends: it is the question after the signal that ends the copy. The signal is
    // sent once the first report is there.
    const auto outcome = run({"bash", "-c",
                              R"("$1" /dev/zero "$2" --verify none 2>"$3" &
                until [[ -s $3 ]]; do :; done
                kill -INT $!
                wait $!
                status=$?
                cat "$3"
                exit $status)",
                              "bash", QF_PROGRAM, directory / "copy", directory / "messages"},
                             environment());
    EXPECT_EQ(outcome.status, 130) << outcome.output;
    EXPECT_TRUE(contains(outcome.output, "Cancelled.")) << outcome.output;
    EXPECT_TRUE(contains(outcome.output, "  " + (directory / "copy") + "\n")) << outcome.output;
    EXPECT_TRUE(fs::exists(directory / "copy"));
}
