#include "platform/linux/desktop/LauncherEntry.h"

#include "tests/support/NamedCase.h"
#include "tests/support/RunCommand.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

using platform::Value;
using platform::native::hasDesktop;
using platform::native::launcherEntry;

namespace {

class LauncherEntryTest : public testing::Test {
protected:
    /// A bundle with a program that writes its own path to what "$QF_REPORT" names.
    std::string makeBundle(const std::string& name, const std::string& program = "Tool") const {
        const auto path = directory_.write(name + "/Contents/MacOS/" + program,
                                           "#!/bin/sh\nprintf %s \"$0\" > \"$QF_REPORT\"\n");
        ::chmod(path.c_str(), 0755);
        return directory_ / name;
    }

    static Value::Dictionary information(const std::string& identifier = "com.quillfen.A",
                                         const Value& program = "Tool") {
        return {{"CFBundleIdentifier", identifier}, {"CFBundleExecutable", program}};
    }

    TemporaryDirectory directory_;
};

TEST_F(LauncherEntryTest, OffersTheProgramUnderTheBundlesNameWhileItIsThere) {
    const auto bundle = makeBundle("Dunmarl.app");
    const auto program = bundle + "/Contents/MacOS/Tool";

    const auto entry = launcherEntry(bundle, information("com.quillfen.Dunmarl"));

    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->fileName, "com.quillfen.registered.com.quillfen.Dunmarl.desktop");
    EXPECT_EQ(entry->content, "[Desktop Entry]\nType=Application\nName=Dunmarl\nExec=\"" + program +
                                  "\"\nTryExec=" + program + "\n");
}

struct NamesOfABundle : NamedCase {
    Value::Dictionary names;
    const char* expected;
};

class LauncherEntryNameTest : public LauncherEntryTest,
                              public testing::WithParamInterface<NamesOfABundle> {};

TEST_P(LauncherEntryNameTest, IsThatOfTheBundle) {
    auto named = information();
    named.insert(GetParam().names.begin(), GetParam().names.end());

    const auto entry = launcherEntry(makeBundle("A.app"), named);

    ASSERT_TRUE(entry);
    EXPECT_NE(entry->content.find(std::string("\nName=") + GetParam().expected + "\n"),
              std::string::npos)
        << entry->content;
}

INSTANTIATE_TEST_SUITE_P(
    All, LauncherEntryNameTest,
    testing::Values(NamesOfABundle{{"Name"}, {{"CFBundleName", "Short"}}, "Short"},
                    NamesOfABundle{{"DisplayName"},
                                   {{"CFBundleName", "Short"}, {"CFBundleDisplayName", "Long"}},
                                   "Long"},
                    NamesOfABundle{{"EmptyName"}, {{"CFBundleName", ""}}, "A"},
                    NamesOfABundle{{"LinesAndBackslashes"},
                                   {{"CFBundleName", "one\ntwo\\three"}},
                                   R"(one\\x0Atwo\\three)"}),
    nameOfCase);

TEST_F(LauncherEntryTest, IsNotMadeWhereItsFileNameWouldLeadElsewhere) {
    const auto bundle = makeBundle("A.app");
    for (const std::string& identifier :
         {std::string(), std::string("../../evil"), std::string("a/b"), std::string("a b"),
          std::string("ü"), std::string("a\"b"), std::string("a;b"), std::string("a%f"),
          std::string(201, 'a')}) {
        EXPECT_FALSE(launcherEntry(bundle, information(identifier))) << identifier;
    }
    EXPECT_TRUE(launcherEntry(bundle, information(std::string(200, 'a'))));
}

TEST_F(LauncherEntryTest, IsNotMadeForAProgramOutsideTheBundle) {
    const auto bundle = makeBundle("A.app");
    directory_.write("A.app/Contents/MacOS/plain", "no program");
    std::filesystem::create_symlink("/bin/sh", bundle + "/Contents/MacOS/link");
    for (const Value& program :
         {Value("../../../bin/sh"), Value("/bin/sh"), Value(".."), Value("."), Value(""), Value(),
          Value("missing"), Value("link"), Value("plain"), Value(5)}) {
        EXPECT_FALSE(launcherEntry(bundle, information("com.quillfen.A", program)));
    }
}

TEST_F(LauncherEntryTest, IsNotMadeForAPathThatItCannotExpress) {
    for (const auto* name : {"\xFF.app", "a\nExec=evil\n.app", "50%.app", "%f.app", "a=b.app"}) {
        EXPECT_FALSE(launcherEntry(makeBundle(name), information())) << name;
    }
}

TEST_F(LauncherEntryTest, QuotesWhatHasAMeaningInACommandLine) {
    const std::string name = R"(a"b$c`d\e)";
    const auto bundle = makeBundle("A.app", name);

    const auto entry = launcherEntry(bundle, information("com.quillfen.A", name));

    // A backslash in a value of the file is written as two.
    ASSERT_TRUE(entry);
    EXPECT_NE(entry->content.find("Exec=\"" + bundle + R"(/Contents/MacOS/a\\"b\\$c\\`d\\\\e")"),
              std::string::npos)
        << entry->content;
}

TEST_F(LauncherEntryTest, StartsTheProgramWhateverItsPathIs) {
    ASSERT_EQ(::mkfifo((directory_ / "report").c_str(), 0600), 0);
    for (const auto* name :
         {"Tool.app", "a b.app", "\"; touch evil; \".app", "$HOME `id` \\ 'x' *.app"}) {
        const auto bundle = makeBundle(name, "run $(me)");
        const auto entry = launcherEntry(bundle, information("com.quillfen.A", "run $(me)"));
        ASSERT_TRUE(entry);

        const auto outcome =
            run({"gio", "launch", directory_.write(entry->fileName, entry->content)},
                {"QF_REPORT=" + (directory_ / "report"), "HOME=" + directory_.path()});

        ASSERT_EQ(outcome.status, 0) << outcome.output;
        EXPECT_EQ(contentOf(directory_ / "report"), bundle + "/Contents/MacOS/run $(me)");
    }
}

TEST_F(LauncherEntryTest, IsForADesktopThatAPersonCanLogInTo) {
    for (const auto* name : {"x/xsessions", "wayland/wayland-sessions", "none/applications"}) {
        directory_.makeDirectory(name);
    }
    for (const auto& [directories, isDesktop] : std::vector<std::pair<std::string, bool>>{
             {directory_ / "none", false},
             {directory_ / "x", true},
             {directory_ / "wayland", true},
             {":/nowhere:" + (directory_ / "x") + ":", true}}) {
        const ScopedEnvironment dataDirectories("XDG_DATA_DIRS", directories);
        EXPECT_EQ(hasDesktop(), isDesktop) << directories;
    }
}

} // namespace
