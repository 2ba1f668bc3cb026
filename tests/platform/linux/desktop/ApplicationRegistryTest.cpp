#include "platform/linux/desktop/ApplicationRegistry.h"

#include "platform/linux/plist/PropertyLists.h"
#include "tests/support/CasePath.h"
#include "tests/support/NamedCase.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <thread>

namespace fs = std::filesystem;
using qf::Value;

namespace {

/// A user with a data directory and, where a test makes one, a machine with a desktop.
class Registry : public testing::Test {
protected:
    Registry() {
        account.home = directory / "home";
        directory.makeDirectory("home");
    }

    std::string makeBundle(const std::string& name, const Value& identifier) {
        const auto bundle = directory.makeDirectory(name);
        directory.makeDirectory(name + "/Contents/MacOS");
        EXPECT_TRUE(propertyLists.writeAtomically(
            Value::Dictionary{{"CFBundleIdentifier", identifier}, {"CFBundleExecutable", "Tool"}},
            bundle + "/Contents/Info.plist"));
        const auto program = directory.write(name + "/Contents/MacOS/Tool", "#!/bin/sh\n");
        ::chmod(program.c_str(), 0755);
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
    qf::native::PropertyLists propertyLists;
    qf::native::ApplicationRegistry registry{account, propertyLists};
    ScopedEnvironment dataHome{"XDG_DATA_HOME", std::nullopt};
    ScopedEnvironment dataDirectories{"XDG_DATA_DIRS", directory / "data"};
};

} // namespace

TEST_F(Registry, MakesABundleFindableByItsIdentifierWhateverItsCase) {
    const auto bundle = makeBundle("elsewhere/Tool.app", "com.quillfen.Dunmarl");
    EXPECT_EQ(registry.find("com.quillfen.Dunmarl"), std::nullopt);
    EXPECT_TRUE(registry.add(bundle));
    EXPECT_EQ(registry.find("com.quillfen.Dunmarl"), bundle);
    EXPECT_EQ(registry.find("COM.Quillfen.dunmarl"), bundle);
    EXPECT_EQ(registry.find("com.quillfen"), std::nullopt);
}

TEST_F(Registry, NeverNamesABundleThatIsGone) {
    const auto bundle = makeBundle("elsewhere/Tool.app", "com.quillfen.Dunmarl");
    ASSERT_TRUE(registry.add(bundle));
    fs::rename(bundle, directory / "trashed");
    EXPECT_EQ(registry.find("com.quillfen.Dunmarl"), std::nullopt);
    fs::rename(directory / "trashed", bundle);
    EXPECT_EQ(registry.find("com.quillfen.Dunmarl"), bundle);
}

TEST_F(Registry, NeverNamesABundleThatIsAnotherNow) {
    const auto bundle = makeBundle("elsewhere/Tool.app", "com.quillfen.Dunmarl");
    ASSERT_TRUE(registry.add(bundle));
    makeBundle("elsewhere/Tool.app", "com.other.Tool");
    EXPECT_EQ(registry.find("com.quillfen.Dunmarl"), std::nullopt);
    EXPECT_TRUE(registry.add(bundle));
    EXPECT_EQ(registry.find("com.other.Tool"), bundle);
    EXPECT_EQ(propertyLists.read(registryFile())["com.quillfen.dunmarl"], Value());
}

TEST_F(Registry, ReturnsTheLastRegisteredOfSeveral) {
    const auto first = makeBundle("1.app", "com.quillfen.Dunmarl");
    const auto second = makeBundle("2.app", "com.quillfen.Dunmarl");
    ASSERT_TRUE(registry.add(first));
    ASSERT_TRUE(registry.add(second));
    EXPECT_EQ(registry.find("com.quillfen.Dunmarl"), second);
    ASSERT_TRUE(registry.add(first));
    EXPECT_EQ(registry.find("com.quillfen.Dunmarl"), first);
    fs::remove_all(first);
    EXPECT_EQ(registry.find("com.quillfen.Dunmarl"), second);
    EXPECT_EQ(propertyLists.read(registryFile())["com.quillfen.dunmarl"],
              Value(Value::Array{first, second}));
}

TEST_F(Registry, DropsWhatIsGone) {
    const auto gone = makeBundle("gone.app", "com.quillfen.Gone");
    const auto there = makeBundle("there.app", "com.quillfen.There");
    ASSERT_TRUE(registry.add(gone));
    fs::remove_all(gone);
    ASSERT_TRUE(registry.add(there));
    EXPECT_EQ(propertyLists.read(registryFile()),
              Value(Value::Dictionary{{"com.quillfen.there", Value::Array{there}}}));
}

class RegistryPath : public Registry, public testing::WithParamInterface<NamedText> {};

TEST_P(RegistryPath, HasAnyBytes) {
    const auto bundle = makeBundle(GetParam().value, "com.quillfen.Odd");
    EXPECT_TRUE(registry.add(bundle));
    EXPECT_EQ(registry.find("com.quillfen.Odd"), bundle);
}

INSTANTIATE_TEST_SUITE_P(All, RegistryPath,
                         testing::Values(NamedText{{"NoText"}, "\xFF\xFE.app"},
                                         NamedText{{"Lines"}, "line\nend.app"},
                                         NamedText{{"Markup"}, "Ünï & <b>.app"}),
                         nameOfCase);

class RegistryStranger : public Registry, public testing::WithParamInterface<NamedText> {};

TEST_P(RegistryStranger, IsNoApplication) {
    directory.write("file.app");
    directory.makeDirectory("folder");
    makeBundle("A.app", "a");
    EXPECT_EQ(registry.add(casePath(directory, GetParam().value)).error(),
              qf::kLSApplicationNotFoundErr);
    EXPECT_FALSE(fs::exists(registryFile()));
}

INSTANTIATE_TEST_SUITE_P(All, RegistryStranger,
                         testing::Values(NamedText{{"File"}, "DIR/file.app"},
                                         NamedText{{"Directory"}, "DIR/folder"},
                                         NamedText{{"Missing"}, "DIR/missing.app"},
                                         NamedText{{"Relative"}, "relative.app"},
                                         NamedText{{"Empty"}, ""},
                                         NamedText{{"ZeroByte"}, std::string("DIR/A.app\0x", 11)}),
                         nameOfCase);

TEST_F(Registry, RefusesABundleWithoutIdentifier) {
    EXPECT_EQ(registry.add(directory.makeDirectory("Empty.app")).error(), qf::kLSDataErr);
    EXPECT_EQ(registry.add(makeBundle("A.app", "")).error(), qf::kLSDataErr);
    EXPECT_EQ(registry.add(makeBundle("B.app", 5)).error(), qf::kLSDataErr);
    directory.write("C.app/Contents/Info.plist", "garbage");
    EXPECT_EQ(registry.add(directory / "C.app").error(), qf::kLSDataErr);
}

TEST_F(Registry, ThatCannotBeWrittenIsAnError) {
    directory.write("home/.local/share/quillfen", "a file");
    const auto bundle = makeBundle("A.app", "com.quillfen.A");
    EXPECT_EQ(registry.add(bundle).error(), qf::kLSUnknownErr);
}

TEST_F(Registry, ThatIsDamagedIsReplaced) {
    directory.write("home/.local/share/quillfen/applications.plist", "garbage");
    const auto bundle = makeBundle("A.app", "com.quillfen.A");
    EXPECT_EQ(registry.find("com.quillfen.A"), std::nullopt);
    EXPECT_TRUE(registry.add(bundle));
    EXPECT_EQ(registry.find("com.quillfen.A"), bundle);
}

TEST_F(Registry, WithEntriesOfOtherKindsIsReadAllTheSame) {
    directory.makeDirectory("home/.local/share/quillfen");
    const auto bundle = makeBundle("A.app", "com.quillfen.A");
    ASSERT_TRUE(propertyLists.writeAtomically(
        Value::Dictionary{{"com.quillfen.a", Value::Array{7, "", "relative", "/nowhere", bundle}},
                          {"com.quillfen.b", "text"}},
        registryFile()));
    EXPECT_EQ(registry.find("com.quillfen.A"), bundle);
    EXPECT_EQ(registry.find("com.quillfen.B"), std::nullopt);
}

TEST_F(Registry, LiesInTheUsersDataDirectory) {
    const ScopedEnvironment other("XDG_DATA_HOME", directory / "other");
    const auto bundle = makeBundle("A.app", "com.quillfen.A");
    EXPECT_TRUE(registry.add(bundle));
    EXPECT_TRUE(fs::exists(directory / "other/quillfen/applications.plist"));
    EXPECT_EQ(registry.find("com.quillfen.A"), bundle);
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
                failures += registry.add(bundle) ? 0 : 1;
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
    ASSERT_TRUE(registry.add(makeBundle("A.app", "com.quillfen.A")));
    EXPECT_FALSE(fs::exists(entriesDirectory()));
}

TEST_F(Registry, MakesALauncherEntryWhereADesktopIsInstalled) {
    installDesktop();
    const auto bundle = makeBundle("Dunmarl.app", "com.quillfen.Dunmarl");
    ASSERT_TRUE(registry.add(bundle));
    const auto program = bundle + "/Contents/MacOS/Tool";
    EXPECT_EQ(
        contentOf(entriesDirectory() + "/com.quillfen.registered.com.quillfen.Dunmarl.desktop"),
        "[Desktop Entry]\nType=Application\nName=Dunmarl\nExec=\"" + program +
            "\"\nTryExec=" + program + "\n");
    EXPECT_EQ(entries().size(), 1U);
}

class RegistryIdentifier : public Registry, public testing::WithParamInterface<NamedText> {};

TEST_P(RegistryIdentifier, NamesNoEntryThatWouldLeadElsewhere) {
    installDesktop();
    const auto bundle = makeBundle("A.app", GetParam().value);
    EXPECT_TRUE(registry.add(bundle));
    EXPECT_EQ(registry.find(GetParam().value), bundle);
    EXPECT_EQ(entries(), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(
    All, RegistryIdentifier,
    testing::Values(NamedText{{"UpTheTree"}, "../../evil"}, NamedText{{"Slash"}, "a/b"},
                    NamedText{{"Space"}, "a b"}, NamedText{{"OtherLetter"}, "ü"},
                    NamedText{{"Quote"}, "a\"b"}, NamedText{{"Semicolon"}, "a;b"},
                    NamedText{{"TooLong"}, std::string(201, 'a')}, NamedText{{"Percent"}, "a%f"}),
    nameOfCase);

class RegistryEntry : public Registry, public testing::WithParamInterface<NamedText> {};

TEST_P(RegistryEntry, IsNotMadeForAPathThatItCannotExpress) {
    installDesktop();
    EXPECT_TRUE(registry.add(makeBundle(GetParam().value, "com.quillfen.A")));
    EXPECT_EQ(entries(), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(All, RegistryEntry,
                         testing::Values(NamedText{{"NoText"}, "\xFF.app"},
                                         NamedText{{"Lines"}, "a\nExec=evil\n.app"},
                                         NamedText{{"Percent"}, "50%.app"},
                                         NamedText{{"FieldCode"}, "%f.app"},
                                         NamedText{{"EqualsSign"}, "a=b.app"}),
                         nameOfCase);

TEST_F(Registry, AnEntryThatCannotBeWrittenIsAnError) {
    installDesktop();
    directory.write("home/.local/share/applications", "a file");
    const auto bundle = makeBundle("A.app", "com.quillfen.A");
    EXPECT_EQ(registry.add(bundle).error(), qf::kLSUnknownErr);
}
