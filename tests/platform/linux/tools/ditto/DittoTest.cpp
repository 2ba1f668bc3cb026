#include "tests/platform/linux/tools/ditto/DittoHarness.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace {

constexpr const char* dittoUsage =
    "usage: ditto -ck [--keepParent] SOURCE ARCHIVE | -xk ARCHIVE FOLDER\n";

class Ditto : public DittoHarness {};

class DittoMisuse : public DittoHarness,
                    public testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(DittoMisuse, TellsTheUsage) {
    const auto outcome = ditto(GetParam());
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output, dittoUsage);
}

INSTANTIATE_TEST_SUITE_P(All, DittoMisuse,
                         testing::ValuesIn(std::vector<std::vector<std::string>>{
                             {},
                             {"-ck"},
                             {"-ck", "/a"},
                             {"-ck", "/a", "/b", "/c"},
                             {"-ck", "--keepParent", "/a"},
                             {"-ck", "/a", ""},
                             {"-xk", "/a"},
                             {"-xk", "--keepParent", "/a", "/b"},
                             {"/a", "/b"},
                             {"--help"}}));

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

} // namespace
