#include "platform/linux/desktop/ApplicationRegistry.h"

#include "platform/linux/desktop/LauncherEntry.h"
#include "platform/linux/desktop/Workspace.h"
#include "platform/linux/plist/PropertyLists.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/RunCommand.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

namespace fs = std::filesystem;
using platform::Value;

namespace {

/// A user with a data directory and, if a test makes one, a machine with a desktop.
class Registry : public testing::Test {
protected:
    Registry() {
        account.home = directory / "home";
        directory.makeDirectory("home");
    }

    /// Makes a bundle with a program that writes its own path to the file that "$QF_REPORT" names.
    std::string makeBundle(const std::string& name, const Value& identifier,
                           const std::string& program = "Tool") {
        const auto bundle = directory.makeDirectory(name);
        fs::create_directories(bundle + "/Contents/MacOS");
        EXPECT_TRUE(propertyLists.writeAtomically(
            Value::Dictionary{{"CFBundleIdentifier", identifier}, {"CFBundleExecutable", program}},
            bundle + "/Contents/Info.plist"));
        const auto path = bundle + "/Contents/MacOS/" + program;
        std::ofstream(path) << "#!/bin/sh\nprintf %s \"$0\" > \"$QF_REPORT\"\n";
        ::chmod(path.c_str(), 0755);
        return bundle;
    }

    void installDesktop() const { directory.makeDirectory("data/xsessions"); }

    std::string registryFile() const {
        return directory / "home/.local/share/quillfen/applications.plist";
    }
    std::string entriesDirectory() const { return directory / "home/.local/share/applications"; }

    std::vector<std::string> entries() const {
        std::vector<std::string> names;
        std::error_code error;
        for (const auto& entry : fs::directory_iterator(entriesDirectory(), error)) {
            names.push_back(entry.path().filename());
        }
        return names;
    }

    TemporaryDirectory directory;
    FakeAccount account;
    FakeSearchPaths searchPaths;
    platform::native::PropertyLists propertyLists;
    platform::native::Workspace workspace{account, searchPaths, propertyLists};
    ScopedEnvironment dataHome{"XDG_DATA_HOME", std::nullopt};
    ScopedEnvironment dataDirectories{"XDG_DATA_DIRS", directory / "data"};
};

} // namespace

TEST_F(Registry, MakesABundleFindableByItsIdentifierWhateverItsCase) {
    const auto bundle = makeBundle("elsewhere/Tool.app", "com.quillfen.Dunmarl");
    EXPECT_EQ(workspace.applicationPath("com.quillfen.Dunmarl"), std::nullopt);
    EXPECT_TRUE(workspace.registerApplication(bundle));
    EXPECT_EQ(workspace.applicationPath("com.quillfen.Dunmarl"), bundle);
    EXPECT_EQ(workspace.applicationPath("COM.Quillfen.dunmarl"), bundle);
    EXPECT_EQ(workspace.applicationPath("com.quillfen"), std::nullopt);
    EXPECT_EQ(workspace.applicationPath(""), std::nullopt);
}

TEST_F(Registry, IsAskedAfterTheApplicationsDirectories) {
    const auto installed = makeBundle("home/Applications/A.app", "com.quillfen.Dunmarl");
    const auto registered = makeBundle("elsewhere/B.app", "com.quillfen.Dunmarl");
    EXPECT_TRUE(workspace.registerApplication(registered));
    EXPECT_EQ(workspace.applicationPath("com.quillfen.Dunmarl"), installed);
    fs::remove_all(installed);
    EXPECT_EQ(workspace.applicationPath("com.quillfen.Dunmarl"), registered);
}

TEST_F(Registry, NeverNamesABundleThatIsGone) {
    const auto bundle = makeBundle("elsewhere/Tool.app", "com.quillfen.Dunmarl");
    ASSERT_TRUE(workspace.registerApplication(bundle));
    fs::rename(bundle, directory / "trashed");
    EXPECT_EQ(workspace.applicationPath("com.quillfen.Dunmarl"), std::nullopt);
    fs::rename(directory / "trashed", bundle);
    EXPECT_EQ(workspace.applicationPath("com.quillfen.Dunmarl"), bundle);
}

TEST_F(Registry, NeverNamesABundleThatIsAnotherNow) {
    const auto bundle = makeBundle("elsewhere/Tool.app", "com.quillfen.Dunmarl");
    ASSERT_TRUE(workspace.registerApplication(bundle));
    makeBundle("elsewhere/Tool.app", "com.other.Tool");
    EXPECT_EQ(workspace.applicationPath("com.quillfen.Dunmarl"), std::nullopt);
    EXPECT_TRUE(workspace.registerApplication(bundle));
    EXPECT_EQ(workspace.applicationPath("com.other.Tool"), bundle);
    EXPECT_EQ(propertyLists.read(registryFile())["com.quillfen.dunmarl"], Value());
}

TEST_F(Registry, GivesTheLastRegisteredOfSeveral) {
    const auto first = makeBundle("1.app", "com.quillfen.Dunmarl");
    const auto second = makeBundle("2.app", "com.quillfen.Dunmarl");
    ASSERT_TRUE(workspace.registerApplication(first));
    ASSERT_TRUE(workspace.registerApplication(second));
    EXPECT_EQ(workspace.applicationPath("com.quillfen.Dunmarl"), second);
    ASSERT_TRUE(workspace.registerApplication(first));
    EXPECT_EQ(workspace.applicationPath("com.quillfen.Dunmarl"), first);
    fs::remove_all(first);
    EXPECT_EQ(workspace.applicationPath("com.quillfen.Dunmarl"), second);
    EXPECT_EQ(propertyLists.read(registryFile())["com.quillfen.dunmarl"],
              Value(Value::Array{first, second}));
}

TEST_F(Registry, DropsWhatIsGone) {
    const auto gone = makeBundle("gone.app", "com.quillfen.Gone");
    const auto there = makeBundle("there.app", "com.quillfen.There");
    ASSERT_TRUE(workspace.registerApplication(gone));
    fs::remove_all(gone);
    ASSERT_TRUE(workspace.registerApplication(there));
    EXPECT_EQ(propertyLists.read(registryFile()),
              Value(Value::Dictionary{{"com.quillfen.there", Value::Array{there}}}));
}

TEST_F(Registry, TakesPathsOfAnyBytes) {
    for (const std::string name : {"\xFF\xFE.app", "line\nend.app", "Ünï & <b>.app"}) {
        const auto bundle = makeBundle(name, "com.quillfen.Odd");
        EXPECT_TRUE(workspace.registerApplication(bundle));
        EXPECT_EQ(workspace.applicationPath("com.quillfen.Odd"), bundle);
        fs::remove_all(bundle);
    }
}

TEST_F(Registry, RefusesWhatIsNoApplication) {
    const auto file = directory.write("file.app");
    const auto plain = directory.makeDirectory("folder");
    for (const auto& path : {file, plain, directory / "missing.app", std::string("relative.app"),
                             std::string(), makeBundle("A.app", "a") + std::string("\0x", 2)}) {
        EXPECT_EQ(workspace.registerApplication(path).error(), platform::kLSApplicationNotFoundErr);
    }
    EXPECT_FALSE(fs::exists(registryFile()));
}

TEST_F(Registry, RefusesABundleWithoutIdentifier) {
    EXPECT_EQ(workspace.registerApplication(directory.makeDirectory("Empty.app")).error(),
              platform::kLSDataErr);
    EXPECT_EQ(workspace.registerApplication(makeBundle("A.app", "")).error(), platform::kLSDataErr);
    EXPECT_EQ(workspace.registerApplication(makeBundle("B.app", 5)).error(), platform::kLSDataErr);
    directory.write("C.app/Contents/Info.plist", "garbage");
    EXPECT_EQ(workspace.registerApplication(directory / "C.app").error(), platform::kLSDataErr);
}

TEST_F(Registry, ThatCannotBeWrittenIsAnError) {
    directory.write("home/.local/share/quillfen", "a file");
    const auto bundle = makeBundle("A.app", "com.quillfen.A");
    EXPECT_EQ(workspace.registerApplication(bundle).error(), platform::kLSUnknownErr);
}

TEST_F(Registry, ThatIsDamagedIsReplaced) {
    directory.write("home/.local/share/quillfen/applications.plist", "garbage");
    const auto bundle = makeBundle("A.app", "com.quillfen.A");
    EXPECT_EQ(workspace.applicationPath("com.quillfen.A"), std::nullopt);
    EXPECT_TRUE(workspace.registerApplication(bundle));
    EXPECT_EQ(workspace.applicationPath("com.quillfen.A"), bundle);
}

TEST_F(Registry, WithEntriesOfOtherKindsIsReadAllTheSame) {
    directory.makeDirectory("home/.local/share/quillfen");
    const auto bundle = makeBundle("A.app", "com.quillfen.A");
    ASSERT_TRUE(propertyLists.writeAtomically(
        Value::Dictionary{{"com.quillfen.a", Value::Array{7, "", "relative", "/nowhere", bundle}},
                          {"com.quillfen.b", "text"}},
        registryFile()));
    EXPECT_EQ(workspace.applicationPath("com.quillfen.A"), bundle);
    EXPECT_EQ(workspace.applicationPath("com.quillfen.B"), std::nullopt);
}

TEST_F(Registry, LiesInTheUsersDataDirectory) {
    const ScopedEnvironment other("XDG_DATA_HOME", directory / "other");
    const auto bundle = makeBundle("A.app", "com.quillfen.A");
    EXPECT_TRUE(workspace.registerApplication(bundle));
    EXPECT_TRUE(fs::exists(directory / "other/quillfen/applications.plist"));
    EXPECT_EQ(workspace.applicationPath("com.quillfen.A"), bundle);
}

TEST_F(Registry, LosesNothingWhenSeveralRegisterAtOnce) {
    constexpr int threads = 4;
    constexpr int each = 10;
    std::vector<std::string> bundles;
    for (int i = 0; i < threads * each; ++i) {
        bundles.push_back(
            makeBundle(std::to_string(i) + ".app", "com.quillfen.n" + std::to_string(i)));
    }
    std::vector<std::thread> running;
    std::atomic<int> failures = 0;
    for (int thread = 0; thread < threads; ++thread) {
        running.emplace_back([&, thread] {
            for (int i = 0; i < each; ++i) {
                const auto& bundle = bundles[static_cast<std::size_t>(thread * each + i)];
                failures += workspace.registerApplication(bundle) ? 0 : 1;
            }
        });
    }
    for (auto& thread : running) {
        thread.join();
    }
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(propertyLists.read(registryFile()).as<Value::Dictionary>()->size(), bundles.size());
}

// ---- Launcher entries --------------------------------------------------------------------------

TEST_F(Registry, MakesNoLauncherEntryWithoutADesktop) {
    ASSERT_TRUE(workspace.registerApplication(makeBundle("A.app", "com.quillfen.A")));
    EXPECT_FALSE(fs::exists(entriesDirectory()));
}

TEST_F(Registry, MakesALauncherEntryWhereADesktopIsInstalled) {
    installDesktop();
    const auto bundle = makeBundle("Dunmarl.app", "com.quillfen.Dunmarl");
    ASSERT_TRUE(workspace.registerApplication(bundle));
    const auto program = bundle + "/Contents/MacOS/Tool";
    EXPECT_EQ(
        contentOf(entriesDirectory() + "/com.quillfen.registered.com.quillfen.Dunmarl.desktop"),
        "[Desktop Entry]\nType=Application\nName=Dunmarl\nExec=\"" + program +
            "\"\nTryExec=" + program + "\n");
    EXPECT_EQ(entries().size(), 1U);
}

TEST_F(Registry, GivesTheEntryTheNameThatTheBundleHas) {
    installDesktop();
    const auto bundle = makeBundle("A.app", "com.quillfen.A");
    const std::vector<std::pair<Value::Dictionary, std::string>> rows = {
        {{{"CFBundleName", "Short"}}, "Short"},
        {{{"CFBundleName", "Short"}, {"CFBundleDisplayName", "Long"}}, "Long"},
        {{{"CFBundleName", ""}}, "A"},
        {{{"CFBundleName", "one\ntwo\\three"}}, R"(one\\x0Atwo\\three)"}};
    for (const auto& [names, expected] : rows) {
        auto information = names;
        information["CFBundleIdentifier"] = "com.quillfen.A";
        information["CFBundleExecutable"] = "Tool";
        const auto entry = platform::native::launcherEntry(bundle, information);
        ASSERT_TRUE(entry);
        EXPECT_NE(entry->content.find("\nName=" + expected + "\n"), std::string::npos)
            << entry->content;
    }
}

TEST_F(Registry, MakesNoEntryWhoseNameWouldLeadElsewhere) {
    installDesktop();
    const std::vector<std::string> identifiers = {
        "../../evil", "a/b", "a b", "ü", "a\"b", "a;b", std::string(201, 'a'), "a%f"};
    int number = 0;
    for (const auto& identifier : identifiers) {
        const auto bundle = makeBundle(std::to_string(++number) + ".app", identifier);
        EXPECT_TRUE(workspace.registerApplication(bundle)) << identifier;
        EXPECT_EQ(workspace.applicationPath(identifier), bundle);
    }
    EXPECT_EQ(entries(), std::vector<std::string>{});
}

TEST_F(Registry, MakesNoEntryForAProgramOutsideTheBundle) {
    installDesktop();
    const auto bundle = makeBundle("A.app", "com.quillfen.A");
    fs::create_symlink("/bin/sh", bundle + "/Contents/MacOS/link");
    std::ofstream(bundle + "/Contents/MacOS/plain") << "no program";
    for (const Value& program :
         {Value("../../../bin/sh"), Value("/bin/sh"), Value(".."), Value("."), Value(""), Value(),
          Value("missing"), Value("link"), Value("plain"), Value(5)}) {
        const Value::Dictionary information{{"CFBundleIdentifier", "com.quillfen.A"},
                                            {"CFBundleExecutable", program}};
        EXPECT_FALSE(platform::native::launcherEntry(bundle, information));
    }
}

TEST_F(Registry, MakesNoEntryForAPathThatItCannotExpress) {
    installDesktop();
    for (const std::string name :
         {"\xFF.app", "a\nExec=evil\n.app", "50%.app", "%f.app", "a=b.app"}) {
        const auto bundle = makeBundle(name, "com.quillfen.A");
        EXPECT_TRUE(workspace.registerApplication(bundle));
    }
    EXPECT_EQ(entries(), std::vector<std::string>{});
}

TEST_F(Registry, EntriesStartTheProgramWhateverItsPathIs) {
    installDesktop();
    ASSERT_EQ(::mkfifo((directory / "report").c_str(), 0600), 0);
    for (const std::string name :
         {"Tool.app", "a b.app", "\"; touch evil; \".app", "$HOME `id` \\ 'x' *.app"}) {
        const auto bundle = makeBundle(name, "com.quillfen.A", "run $(me)");
        ASSERT_TRUE(workspace.registerApplication(bundle));
        const auto outcome =
            run({"gio", "launch",
                 entriesDirectory() + "/com.quillfen.registered.com.quillfen.A.desktop"},
                {"QF_REPORT=" + (directory / "report"), "HOME=" + (directory / "home")});
        ASSERT_EQ(outcome.status, 0) << outcome.output;
        EXPECT_EQ(contentOf(directory / "report"), bundle + "/Contents/MacOS/run $(me)");
    }
}

TEST_F(Registry, AnEntryThatCannotBeWrittenIsAnError) {
    installDesktop();
    directory.write("home/.local/share/applications", "a file");
    const auto bundle = makeBundle("A.app", "com.quillfen.A");
    EXPECT_EQ(workspace.registerApplication(bundle).error(), platform::kLSUnknownErr);
}

TEST_F(Registry, ADesktopIsOneThatAPersonCanLogInTo) {
    EXPECT_FALSE(platform::native::hasDesktop());
    directory.makeDirectory("data/applications");
    EXPECT_FALSE(platform::native::hasDesktop());
    directory.makeDirectory("data/wayland-sessions");
    EXPECT_TRUE(platform::native::hasDesktop());
    const ScopedEnvironment several("XDG_DATA_DIRS", ":/nowhere:" + (directory / "data") + ":");
    EXPECT_TRUE(platform::native::hasDesktop());
}
