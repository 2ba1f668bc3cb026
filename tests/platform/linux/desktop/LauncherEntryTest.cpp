#include "platform/linux/desktop/LauncherEntry.h"

#include "tests/support/NamedCase.h"
#include "tests/support/RunCommand.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

using qf::Value;
using qf::native::hasDesktop;
using qf::native::launcherEntry;

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

class LauncherEntryIdentifierTest : public LauncherEntryTest,
                                    public testing::WithParamInterface<NamedText> {};

TEST_P(LauncherEntryIdentifierTest, MakesNoFileName) {
    EXPECT_FALSE(launcherEntry(makeBundle("A.app"), information(GetParam().value)));
}

INSTANTIATE_TEST_SUITE_P(
    All, LauncherEntryIdentifierTest,
    testing::Values(NamedText{{"Empty"}, ""}, NamedText{{"UpTheTree"}, "../../evil"},
                    NamedText{{"Slash"}, "a/b"}, NamedText{{"Space"}, "a b"},
                    NamedText{{"OtherLetter"}, "ü"}, NamedText{{"Quote"}, "a\"b"},
                    NamedText{{"Semicolon"}, "a;b"}, NamedText{{"Percent"}, "a%f"},
                    NamedText{{"TooLong"}, std::string(201, 'a')}),
    nameOfCase);

TEST_F(LauncherEntryTest, IsMadeForAnIdentifierOfAllLettersAndDigits) {
    const std::string identifier =
        "abcdefghijklmnopqrstuvwxyz.ABCDEFGHIJKLMNOPQRSTUVWXYZ-0123456789_";
    EXPECT_TRUE(launcherEntry(makeBundle("A.app"), information(identifier)));
}

TEST_F(LauncherEntryTest, IsMadeForTheLongestIdentifier) {
    EXPECT_TRUE(launcherEntry(makeBundle("A.app"), information(std::string(200, 'a'))));
}

class LauncherEntryProgramTest : public LauncherEntryTest,
                                 public testing::WithParamInterface<NamedValue<Value>> {};

TEST_P(LauncherEntryProgramTest, DoesNotBelongToTheBundle) {
    const auto bundle = makeBundle("A.app");
    directory_.write("A.app/Contents/MacOS/plain", "no program");
    std::filesystem::create_symlink("/bin/sh", bundle + "/Contents/MacOS/link");
    EXPECT_FALSE(launcherEntry(bundle, information("com.quillfen.A", GetParam().value)));
}

INSTANTIATE_TEST_SUITE_P(All, LauncherEntryProgramTest,
                         testing::Values(NamedValue<Value>{{"UpTheTree"}, "../../../bin/sh"},
                                         NamedValue<Value>{{"Absolute"}, "/bin/sh"},
                                         NamedValue<Value>{{"DirectoryAround"}, ".."},
                                         NamedValue<Value>{{"Directory"}, "."},
                                         NamedValue<Value>{{"Empty"}, ""},
                                         NamedValue<Value>{{"None"}, Value()},
                                         NamedValue<Value>{{"Missing"}, "missing"},
                                         NamedValue<Value>{{"Link"}, "link"},
                                         NamedValue<Value>{{"NotExecutable"}, "plain"},
                                         NamedValue<Value>{{"Number"}, 5}),
                         nameOfCase);

class LauncherEntryBundleTest : public LauncherEntryTest,
                                public testing::WithParamInterface<NamedText> {};

TEST_P(LauncherEntryBundleTest, HasAPathThatNoEntryCanExpress) {
    EXPECT_FALSE(launcherEntry(makeBundle(GetParam().value), information()));
}

INSTANTIATE_TEST_SUITE_P(All, LauncherEntryBundleTest,
                         testing::Values(NamedText{{"NoText"}, "\xFF.app"},
                                         NamedText{{"Lines"}, "a\nExec=evil\n.app"},
                                         NamedText{{"Percent"}, "50%.app"},
                                         NamedText{{"FieldCode"}, "%f.app"},
                                         NamedText{{"EqualsSign"}, "a=b.app"}),
                         nameOfCase);

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

class LauncherEntryPathTest : public LauncherEntryTest,
                              public testing::WithParamInterface<NamedText> {};

TEST_P(LauncherEntryPathTest, LeadsToTheProgram) {
    ASSERT_EQ(::mkfifo((directory_ / "report").c_str(), 0600), 0);
    const auto bundle = makeBundle(GetParam().value, "run $(me)");
    const auto entry = launcherEntry(bundle, information("com.quillfen.A", "run $(me)"));
    ASSERT_TRUE(entry);

    const auto outcome = run({"gio", "launch", directory_.write(entry->fileName, entry->content)},
                             {"QF_REPORT=" + (directory_ / "report"), "HOME=" + directory_.path()});

    ASSERT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_EQ(contentOf(directory_ / "report"), bundle + "/Contents/MacOS/run $(me)");
}

INSTANTIATE_TEST_SUITE_P(All, LauncherEntryPathTest,
                         testing::Values(NamedText{{"Plain"}, "Tool.app"},
                                         NamedText{{"Space"}, "a b.app"},
                                         NamedText{{"Command"}, "\"; touch evil; \".app"},
                                         NamedText{{"Expansions"}, "$HOME `id` \\ 'x' *.app"}),
                         nameOfCase);

struct DataDirectories : NamedCase {
    std::string directories; // "DIR" is the test's own
    bool hasDesktop;
};

class DesktopTest : public testing::TestWithParam<DataDirectories> {};

TEST_P(DesktopTest, IsOneThatAPersonCanLogInTo) {
    const TemporaryDirectory directory;
    directory.makeDirectory("x/xsessions");
    directory.makeDirectory("wayland/wayland-sessions");
    directory.makeDirectory("none/applications");
    auto directories = GetParam().directories;
    if (const auto at = directories.find("DIR"); at != std::string::npos) {
        directories.replace(at, 3, directory.path());
    }
    const ScopedEnvironment environment("XDG_DATA_DIRS", directories);
    EXPECT_EQ(hasDesktop(), GetParam().hasDesktop) << directories;
}

INSTANTIATE_TEST_SUITE_P(All, DesktopTest,
                         testing::Values(DataDirectories{{"Without"}, "DIR/none", false},
                                         DataDirectories{{"X"}, "DIR/x", true},
                                         DataDirectories{{"Wayland"}, "DIR/wayland", true},
                                         DataDirectories{
                                             {"AmongOthers"}, ":/nowhere:DIR/x:", true}),
                         nameOfCase);

} // namespace
