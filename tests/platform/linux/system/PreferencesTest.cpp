#include "platform/linux/system/Preferences.h"

#include "platform/Services.h"
#include "platform/linux/plist/PropertyLists.h"
#include "tests/platform/linux/RunChild.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <thread>

namespace fs = std::filesystem;
using qf::Value;

namespace {

/// The preferences of one domain in a private home directory.
class Preferences : public testing::Test {
protected:
    Preferences() { account.home = home.path(); }

    TemporaryDirectory home;
    std::string name = "Library/Preferences/com.quillfen.Test.plist";
    FakeAccount account;
    RecordingConsole console;
    qf::ScopedService<qf::Console> installed{console};
    qf::native::PropertyLists propertyLists;
    qf::native::Preferences preferences{"com.quillfen.Test", account, propertyLists};
};

} // namespace

TEST_F(Preferences, AreNoneAtFirst) {
    EXPECT_TRUE(preferences.value("hidden").isNone());
    EXPECT_FALSE(fs::exists(home / "Library"));
}

TEST_F(Preferences, AreKeptOnDisk) {
    preferences.setValue("hidden", true);
    preferences.setValue("count", -3);

    EXPECT_EQ(propertyLists.read(home / name),
              Value(Value::Dictionary{{"count", -3}, {"hidden", true}}));
    EXPECT_EQ(preferences.value("hidden"), Value(true));
    EXPECT_EQ(preferences.value("count"), Value(-3));
    EXPECT_TRUE(console.systemLogLines().empty());
}

TEST_F(Preferences, AreForgottenWhenTheyAreNone) {
    preferences.setValue("hidden", true);
    preferences.setValue("count", 1);
    preferences.setValue("hidden", Value());

    EXPECT_EQ(propertyLists.read(home / name), Value(Value::Dictionary{{"count", 1}}));
}

TEST_F(Preferences, AreNotWrittenWhenNothingChanges) {
    preferences.setValue("hidden", Value());
    EXPECT_FALSE(fs::exists(home / name));
}

TEST_F(Preferences, OfAnUnreadableFormCountAsNoneAndAreReplaced) {
    home.write(name, "garbage");
    EXPECT_TRUE(preferences.value("hidden").isNone());

    preferences.setValue("hidden", true);

    EXPECT_EQ(preferences.value("hidden"), Value(true));
}

TEST_F(Preferences, ThatCannotBeStoredAreToldInTheSystemLog) {
    home.makeDirectory(name);

    preferences.setValue("hidden", true);

    EXPECT_EQ(console.systemLogLines(),
              (std::vector<std::string>{"Preferences: “com.quillfen.Test.plist” couldn’t be saved "
                                        "because it is a folder."}));
    EXPECT_TRUE(preferences.value("hidden").isNone());
}

TEST_F(Preferences, ThatMayNotBeReadStayAsTheyAre) {
    const auto store =
        home.write("Library/Preferences/com.example.Program.plist", "<plist><dict/></plist>");
    for (const auto* directory : {"", "Library", "Library/Preferences"}) {
        ASSERT_EQ(::chmod((home / directory).c_str(), 0777), 0);
    }
    ASSERT_EQ(::chmod(store.c_str(), 0), 0);

    const auto outcome = runChild({"store-preference", "hidden", "com.example.Program"},
                                  {"HOME=" + home.path()}, asOrdinaryUser());

    EXPECT_NE(outcome.output.find("couldn’t be saved because you don’t have permission."),
              std::string::npos)
        << outcome.output;
    ASSERT_EQ(::chmod(store.c_str(), 0600), 0);
    EXPECT_EQ(contentOf(store), "<plist><dict/></plist>");
}

TEST_F(Preferences, OfTheApplicationLieInTheUsersLibrary) {
    ASSERT_EQ(
        runChild({"store-preference", "hidden", "com.example.Program"}, {"HOME=" + home.path()})
            .status,
        0);

    EXPECT_EQ(propertyLists.read(home / "Library/Preferences/com.example.Program.plist"),
              Value(Value::Dictionary{{"hidden", true}}));
}

TEST_F(Preferences, OfAProgramWithoutAnIdentifierBearTheNameOfItsFile) {
    ASSERT_EQ(runChild({"store-preference", "hidden"}, {"HOME=" + home.path()}).status, 0);

    EXPECT_EQ(propertyLists.read(home / "Library/Preferences/linux_files_child.plist"),
              Value(Value::Dictionary{{"hidden", true}}));
}

TEST_F(Preferences, LoseNothingWhenSeveralThreadsStore) {
    std::array<std::thread, 8> threads;
    for (int i = 0; auto& thread : threads) {
        thread = std::thread([this, i] { preferences.setValue("key" + std::to_string(i), i); });
        ++i;
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(propertyLists.read(home / name).as<Value::Dictionary>()->size(), 8);
}

TEST_F(Preferences, LoseNothingWhenSeveralProcessesStore) {
    constexpr std::size_t count = 20;
    const auto outcome = runChild({}, {"HOME=" + home.path()},
                                  {"sh", "-c",
                                   "for key in $(seq " + std::to_string(count) +
                                       R"(); do "$0" store-preference $key shared & done; wait)"});

    EXPECT_EQ(outcome.status, 0) << outcome.output;
    const auto stored = propertyLists.read(home / "Library/Preferences/shared.plist");
    EXPECT_EQ(stored.as<Value::Dictionary>()->size(), count);
}
