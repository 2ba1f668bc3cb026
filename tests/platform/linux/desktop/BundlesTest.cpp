#include "platform/linux/desktop/Workspace.h"
#include "platform/linux/plist/PropertyLists.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace {

std::string information(const std::string& identifier) {
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
    <key>CFBundleExecutable</key><string>Tool</string>
    <key>CFBundleIdentifier</key><string>)" +
           identifier + "</string>\n</dict></plist>\n";
}

/// A home directory and a machine whose Applications directories are temporary.
class Bundles : public testing::Test {
protected:
    Bundles() {
        account.home = home.path();
        searchPaths.lists[{platform::DirectoryKind::application, platform::DomainMask::local}] = {
            machine / "Applications"};
    }

    static std::string install(const TemporaryDirectory& directory, const std::string& path,
                               const std::string& identifier) {
        directory.write(path + "/Contents/Info.plist", information(identifier));
        return directory / path;
    }

    std::optional<std::string> find(const std::string& identifier) {
        return workspace.applicationPath(identifier);
    }

    TemporaryDirectory home;
    TemporaryDirectory machine;
    FakeAccount account;
    FakeSearchPaths searchPaths;
    platform::native::PropertyLists propertyLists;
    platform::native::Workspace workspace{account, searchPaths, propertyLists};
};

} // namespace

TEST_F(Bundles, AreFoundByTheirIdentifierWhateverItsCase) {
    install(machine, "Applications/Other.app", "com.other.Dunmarl");
    const auto bundle =
        install(machine, "Applications/Quillfen/Kelvane/Dunmarl.app", "com.Quillfen.dunmarl");

    EXPECT_EQ(find("com.quillfen.Dunmarl"), bundle);
    EXPECT_EQ(find("com.quillfen.Ospenth"), std::nullopt);
    EXPECT_EQ(find(""), std::nullopt);
}

TEST_F(Bundles, AreFoundUnderAnyName) {
    const auto bundle = install(machine, "Applications/moved elsewhere", "com.quillfen.Dunmarl");

    EXPECT_EQ(find("com.quillfen.Dunmarl"), bundle);
}

TEST_F(Bundles, OfTheUserComeFirst) {
    install(machine, "Applications/A.app", "com.quillfen.Dunmarl");
    const auto own = install(home, "Applications/Z.app", "com.quillfen.Dunmarl");

    EXPECT_EQ(find("com.quillfen.Dunmarl"), own);
}

TEST_F(Bundles, AreFoundForTheSuperuserUnderTheHomeDirectory) {
    account.userId = 0;
    const auto own = install(home, "Applications/Z.app", "com.quillfen.Dunmarl");

    EXPECT_EQ(find("com.quillfen.Dunmarl"), own);
}

TEST_F(Bundles, ComeInTheOrderOfTheirNames) {
    install(machine, "Applications/b.app", "com.quillfen.Dunmarl");
    install(machine, "Applications/c.app", "com.quillfen.Dunmarl");
    const auto first = install(machine, "Applications/a/z.app", "com.quillfen.Dunmarl");

    EXPECT_EQ(find("com.quillfen.Dunmarl"), first);
}

TEST_F(Bundles, AreNotSearchedInside) {
    install(machine, "Applications/Outer.app", "com.quillfen.Outer");
    install(machine, "Applications/Outer.app/Contents/Helpers/Inner.app", "com.quillfen.Inner");
    install(machine, "Applications/Installer.pkg/Inner.app", "com.quillfen.Inner");

    EXPECT_EQ(find("com.quillfen.Inner"), std::nullopt);
}

TEST_F(Bundles, AreNotFoundThroughLinks) {
    install(machine, "Elsewhere/Dunmarl.app", "com.quillfen.Dunmarl");
    machine.makeDirectory("Applications/sub");
    ASSERT_EQ(::symlink((machine / "Elsewhere").c_str(), (machine / "Applications/out").c_str()),
              0);
    ASSERT_EQ(::symlink((machine / "Elsewhere/Dunmarl.app").c_str(),
                        (machine / "Applications/Dunmarl.app").c_str()),
              0);
    ASSERT_EQ(::symlink("..", (machine / "Applications/sub/loop").c_str()), 0);

    EXPECT_EQ(find("com.quillfen.Dunmarl"), std::nullopt);
}

TEST_F(Bundles, AreSearchedEightDirectoriesDeep) {
    install(machine, "Applications/1/2/3/4/5/6/7/8.app", "com.quillfen.Eighth");
    install(machine, "Applications/1/2/3/4/5/6/7/8/9.app", "com.quillfen.Ninth");

    EXPECT_TRUE(find("com.quillfen.Eighth"));
    EXPECT_EQ(find("com.quillfen.Ninth"), std::nullopt);
}

TEST_F(Bundles, WithBrokenInformationDoNotHideTheOthers) {
    machine.write("Applications/1.app/Contents/Info.plist", "garbage <");
    machine.write("Applications/2.app/Contents/Info.plist", "");
    machine.makeDirectory("Applications/3.app/Contents/Info.plist");
    machine.makeDirectory("Applications/4.app/Contents");
    ASSERT_EQ(::mkfifo((machine / "Applications/4.app/Contents/Info.plist").c_str(), 0600), 0);
    const auto huge = machine.write("Applications/5.app/Contents/Info.plist",
                                    information("com.quillfen.Dunmarl"));
    std::filesystem::resize_file(huge, std::uintmax_t{100} * 1024 * 1024);
    machine.write("Applications/6.app/Contents/Info.plist",
                  "<plist><dict><key>CFBundleIdentifier</key><integer>6</integer></dict></plist>");
    machine.write("Applications/7.app/Contents/Info.plist", "<plist><array/></plist>");
    const auto bundle = install(machine, "Applications/8.app", "com.quillfen.Dunmarl");

    EXPECT_EQ(find("com.quillfen.Dunmarl"), bundle);
}

TEST_F(Bundles, AreNoneWhereThereAreNoApplicationsDirectories) {
    EXPECT_EQ(find("com.quillfen.Dunmarl"), std::nullopt);
}

TEST_F(Bundles, AreShownAsOneItem) {
    for (const auto* name :
         {"A.app", "B.BUNDLE", "C.framework", "D.plugin", "E.kext", "F.pkg", "G.mpkg", "H.prefPane",
          "I.qlgenerator", "J.mdimporter", "K.component", "L.rtfd"}) {
        EXPECT_TRUE(workspace.isFilePackage(home.makeDirectory(name))) << name;
    }
    home.write("by structure/Contents/Info.plist");
    EXPECT_TRUE(workspace.isFilePackage(home / "by structure"));
}

TEST_F(Bundles, AreShownAsOneItemThroughALink) {
    home.makeDirectory("A.app");
    ASSERT_EQ(::symlink("A.app", (home / "link.app").c_str()), 0);

    EXPECT_TRUE(workspace.isFilePackage(home / "link.app"));
}

TEST_F(Bundles, AreNotWhatOnlyHasTheName) {
    home.makeDirectory("folder/Contents");
    ASSERT_EQ(::symlink("missing", (home / "broken.app").c_str()), 0);

    EXPECT_FALSE(workspace.isFilePackage(home.write("file.app")));
    EXPECT_FALSE(workspace.isFilePackage(home / "folder"));
    EXPECT_FALSE(workspace.isFilePackage(home / "broken.app"));
    EXPECT_FALSE(workspace.isFilePackage(home / "missing.app"));
    EXPECT_FALSE(workspace.isFilePackage(home.makeDirectory("app")));
}
