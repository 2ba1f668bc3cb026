// A separate test program, because it takes long.

#include "tests/support/RunCommand.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

TEST(LargeArchive, HoldsAFileOfMoreThanFourGibibytes) {
    constexpr std::uintmax_t size = (std::uintmax_t{1} << 32U) + 3;
    const TemporaryDirectory directory;
    fs::resize_file(directory.write("src/large", "begin"), size);
    const auto made = run({QF_DITTO, "-ck", directory / "src", directory / "a.zip"});
    ASSERT_EQ(made.status, 0) << made.output;
    const auto listed = run({"unzip", "-Zl", directory / "a.zip"});
    EXPECT_NE(listed.output.find(" 4294967299 "), std::string::npos) << listed.output;

    const auto unpacked = run({QF_DITTO, "-xk", directory / "a.zip", directory / "out"});
    ASSERT_EQ(unpacked.status, 0) << unpacked.output;
    EXPECT_EQ(fs::file_size(directory / "out/large"), size);
    std::string begin(6, ' ');
    std::ifstream(directory / "out/large").read(begin.data(), 6);
    EXPECT_EQ(begin, std::string("begin\0", 6));
}
