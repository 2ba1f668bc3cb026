#include "tests/platform/linux/tools/ditto/DittoHarness.h"
#include "tests/support/NamedCase.h"

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

class DittoPath : public Ditto, public testing::WithParamInterface<NamedText> {};

TEST_P(DittoPath, MayBeSpelledInAnyWay) {
    directory.write("src/sub/file", "content");
    const auto archive = directory / "a.zip";
    expectDone(ditto({"-ck", "--keepParent", directory / GetParam().value, archive}));
    expectDone(ditto({"-xk", archive, directory / "out/"}));
    EXPECT_EQ(contentOf(directory / "out/src/sub/file"), "content");
}

INSTANTIATE_TEST_SUITE_P(, DittoPath,
                         testing::Values(NamedText{{"Slash"}, "src/"}, NamedText{{"Dot"}, "src/."},
                                         NamedText{{"DownAndUp"}, "src/sub/.."},
                                         NamedText{{"Slashes"}, "src//"}),
                         nameOfCase);

TEST_F(Ditto, TakesRelativePaths) {
    directory.write("src/sub/file", "content");
    expectDone(ditto({"-ck", "src", "b.zip"}, {"env", "-C", directory.path()}));
    expectDone(ditto({"-xk", "b.zip", "new/out"}, {"env", "-C", directory.path()}));
    EXPECT_EQ(contentOf(directory / "new/out/sub/file"), "content");
}

} // namespace
