#include "platform/linux/process/Installation.h"

#include "tests/platform/linux/RunChild.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace fs = std::filesystem;
using qf::native::directoryBesideProgram;
using qf::native::installationDirectory;

namespace {

constexpr const char* fromProgram = "../libexec/kelvane-uninstaller";

std::string besideProgram(const fs::path& program) {
    return (program.parent_path() / fromProgram).lexically_normal().string();
}

TEST(Installation, LiesBesideTheDirectoryOfTheRunningProgram) {
    EXPECT_EQ(installationDirectory(), besideProgram(fs::read_symlink("/proc/self/exe")));
}

TEST(Installation, LiesBesideTheProgramThatALinkLeadsTo) {
    const TemporaryDirectory directory;
    fs::create_symlink(QF_CHILD, directory / "link");

    EXPECT_EQ(run({directory / "link", "installation-folder"}).output,
              besideProgram(fs::canonical(QF_CHILD)) + "\n");
}

TEST(Installation, MovesWithTheProgram) {
    const TemporaryDirectory directory;
    directory.makeDirectory("bin");
    fs::copy_file(QF_CHILD, directory / "bin/program");

    EXPECT_EQ(run({directory / "bin/program", "installation-folder"}).output,
              directory / "libexec/kelvane-uninstaller" + "\n");
}

TEST(Installation, IsNotMovedByTheEnvironmentOrTheWorkingDirectory) {
    const TemporaryDirectory directory;

    EXPECT_EQ(runChild({"installation-folder"},
                       {"PWD=" + directory.path(), "_=" + directory.path()},
                       {"env", "-C", directory.path()})
                  .output,
              besideProgram(fs::canonical(QF_CHILD)) + "\n");
}

TEST(Installation, HasAProgramsOwnDirectoryBesideTheProgram) {
    const auto program = fs::read_symlink("/proc/self/exe").parent_path();

    EXPECT_EQ(directoryBesideProgram("../share/own"), program.parent_path() / "share/own");
}

} // namespace
