#include "platform/linux/desktop/Bundles.h"

#include "platform/linux/plist/PropertyLists.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

using qf::native::bundleIdentifier;
using qf::native::bundleInformation;
using qf::native::findBundle;
using qf::native::isPackage;

namespace {

std::string information(const std::string& identifier) {
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
    <key>CFBundleExecutable</key><string>Tool</string>
    <key>CFBundleIdentifier</key><string>)" +
           identifier + "</string>\n</dict></plist>\n";
}

class Bundles : public testing::Test {
protected:
    std::string install(const std::string& path, const std::string& identifier) const {
        directory.write(path + "/Contents/Info.plist", information(identifier));
        return directory / path;
    }

    std::optional<std::string> find(const std::string& identifier) {
        return findBundle(directory / "Applications", identifier, propertyLists);
    }

    TemporaryDirectory directory;
    qf::native::PropertyLists propertyLists;
};

} // namespace

TEST_F(Bundles, AreFoundByTheirIdentifierWhateverItsCase) {
    install("Applications/Other.app", "com.other.Dunmarl");
    const auto bundle =
        install("Applications/Quillfen/Kelvane/Dunmarl.app", "com.Quillfen.dunmarl");

    EXPECT_EQ(find("com.quillfen.Dunmarl"), bundle);
    EXPECT_EQ(find("com.quillfen.Ospenth"), std::nullopt);
}

TEST_F(Bundles, AreFoundUnderAnyName) {
    const auto bundle = install("Applications/moved elsewhere", "com.quillfen.Dunmarl");

    EXPECT_EQ(find("com.quillfen.Dunmarl"), bundle);
}

TEST_F(Bundles, ComeInTheOrderOfTheirNames) {
    install("Applications/b.app", "com.quillfen.Dunmarl");
    install("Applications/c.app", "com.quillfen.Dunmarl");
    const auto first = install("Applications/a/z.app", "com.quillfen.Dunmarl");

    EXPECT_EQ(find("com.quillfen.Dunmarl"), first);
}

TEST_F(Bundles, AreNotSearchedInside) {
    install("Applications/Outer.app", "com.quillfen.Outer");
    install("Applications/Outer.app/Contents/Helpers/Inner.app", "com.quillfen.Inner");
    install("Applications/Installer.pkg/Inner.app", "com.quillfen.Inner");

    EXPECT_EQ(find("com.quillfen.Inner"), std::nullopt);
}

TEST_F(Bundles, AreNotFoundThroughLinks) {
    install("Elsewhere/Dunmarl.app", "com.quillfen.Dunmarl");
    directory.makeDirectory("Applications/sub");
    ASSERT_EQ(
        ::symlink((directory / "Elsewhere").c_str(), (directory / "Applications/out").c_str()), 0);
    ASSERT_EQ(::symlink((directory / "Elsewhere/Dunmarl.app").c_str(),
                        (directory / "Applications/Dunmarl.app").c_str()),
              0);
    ASSERT_EQ(::symlink("..", (directory / "Applications/sub/loop").c_str()), 0);

    EXPECT_EQ(find("com.quillfen.Dunmarl"), std::nullopt);
}

TEST_F(Bundles, AreSearchedEightDirectoriesDeep) {
    install("Applications/1/2/3/4/5/6/7/8.app", "com.quillfen.Eighth");
    install("Applications/1/2/3/4/5/6/7/8/9.app", "com.quillfen.Ninth");

    EXPECT_TRUE(find("com.quillfen.Eighth"));
    EXPECT_EQ(find("com.quillfen.Ninth"), std::nullopt);
}

TEST_F(Bundles, WithBrokenInformationDoNotHideTheOthers) {
    directory.write("Applications/1.app/Contents/Info.plist", "garbage <");
    directory.write("Applications/2.app/Contents/Info.plist", "");
    directory.makeDirectory("Applications/3.app/Contents/Info.plist");
    directory.makeDirectory("Applications/4.app/Contents");
    ASSERT_EQ(::mkfifo((directory / "Applications/4.app/Contents/Info.plist").c_str(), 0600), 0);
    const auto huge = directory.write("Applications/5.app/Contents/Info.plist",
                                      information("com.quillfen.Dunmarl"));
    std::filesystem::resize_file(huge, std::uintmax_t{100} * 1024 * 1024);
    directory.write(
        "Applications/6.app/Contents/Info.plist",
        "<plist><dict><key>CFBundleIdentifier</key><integer>6</integer></dict></plist>");
    directory.write("Applications/7.app/Contents/Info.plist", "<plist><array/></plist>");
    const auto bundle = install("Applications/8.app", "com.quillfen.Dunmarl");

    EXPECT_EQ(find("com.quillfen.Dunmarl"), bundle);
}

TEST_F(Bundles, AreNotFoundWithoutADirectory) {
    EXPECT_EQ(find("com.quillfen.Dunmarl"), std::nullopt);
}

TEST_F(Bundles, AreShownAsOneItemByTheirStructure) {
    directory.write("by structure/Contents/Info.plist");
    EXPECT_TRUE(isPackage(directory / "by structure"));
}

class BundlesByName : public Bundles, public testing::WithParamInterface<NamedText> {};

TEST_P(BundlesByName, AreShownAsOneItem) {
    EXPECT_TRUE(isPackage(directory.makeDirectory(GetParam().value)));
}

INSTANTIATE_TEST_SUITE_P(
    All, BundlesByName,
    testing::Values(NamedText{{"Application"}, "A.app"}, NamedText{{"Bundle"}, "B.BUNDLE"},
                    NamedText{{"Framework"}, "C.framework"}, NamedText{{"Plugin"}, "D.plugin"},
                    NamedText{{"KernelExtension"}, "E.kext"}, NamedText{{"Package"}, "F.pkg"},
                    NamedText{{"Packages"}, "G.mpkg"}, NamedText{{"PreferencePane"}, "H.prefPane"},
                    NamedText{{"QuickLook"}, "I.qlgenerator"},
                    NamedText{{"Importer"}, "J.mdimporter"},
                    NamedText{{"Component"}, "K.component"}, NamedText{{"Document"}, "L.rtfd"}),
    nameOfCase);

TEST_F(Bundles, AreShownAsOneItemThroughALink) {
    directory.makeDirectory("A.app");
    ASSERT_EQ(::symlink("A.app", (directory / "link.app").c_str()), 0);

    EXPECT_TRUE(isPackage(directory / "link.app"));
}

TEST_F(Bundles, AreNotWhatOnlyHasTheName) {
    directory.makeDirectory("folder/Contents");
    ASSERT_EQ(::symlink("missing", (directory / "broken.app").c_str()), 0);

    EXPECT_FALSE(isPackage(directory.write("file.app")));
    EXPECT_FALSE(isPackage(directory / "folder"));
    EXPECT_FALSE(isPackage(directory / "broken.app"));
    EXPECT_FALSE(isPackage(directory / "missing.app"));
    EXPECT_FALSE(isPackage(directory.makeDirectory("app")));
}

TEST_F(Bundles, TellWhatTheyAre) {
    const auto bundle = install("A.app", "com.quillfen.Dunmarl");

    EXPECT_EQ(bundleInformation(bundle, propertyLists)["CFBundleExecutable"], qf::Value("Tool"));
    EXPECT_EQ(bundleIdentifier(bundle, propertyLists), "com.quillfen.Dunmarl");
    EXPECT_EQ(bundleIdentifier(directory / "missing.app", propertyLists), "");
}
