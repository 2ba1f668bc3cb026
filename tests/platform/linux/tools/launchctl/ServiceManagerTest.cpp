#include "platform/linux/tools/launchctl/ServiceManager.h"

#include "tests/platform/linux/RunChild.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

constexpr const char* module = "/systemd.so";
constexpr const char* busLibrary = "/libgio-2.0.so";

std::string jobFile(const std::string& label) {
    return "<plist version=\"1.0\"><dict><key>Label</key><string>" + label +
           "</string><key>Program</key><string>/bin/true</string></dict></plist>";
}

/// The program, run by an ordinary user who has no service manager.
class ServiceManagerModule : public testing::Test {
protected:
    ServiceManagerModule() { fs::permissions(home_.path(), fs::perms(0777)); }

    /// Returns what the loader tells of the files that it loads for a command.
    std::string loadedFor(const std::vector<std::string>& words) const {
        const auto outcome = runChild(words,
                                      {"HOME=" + home_.path(), "XDG_RUNTIME_DIR=" + (home_ / "run"),
                                       "LSAN_OPTIONS=detect_leaks=0", "LD_DEBUG=files"},
                                      asOrdinaryUser());
        EXPECT_THAT(outcome.output, HasSubstr("/libplist-2.0.so"));
        return outcome.output;
    }

    const TemporaryDirectory home_;
};

class NothingToAsk : public ServiceManagerModule,
                     public testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(NothingToAsk, LoadsNeitherTheModuleNorTheLibraryForTheBus) {
    const auto loaded = loadedFor(GetParam());

    EXPECT_THAT(loaded, Not(HasSubstr(module)));
    EXPECT_THAT(loaded, Not(HasSubstr(busLibrary)));
}

INSTANTIATE_TEST_SUITE_P(All, NothingToAsk,
                         testing::ValuesIn(std::vector<std::vector<std::string>>{
                             {"list"}, {"remove", "a"}, {"unload", "/gone.plist"}}));

TEST_F(ServiceManagerModule, IsNotLoadedForAJobThatIsNotLoaded) {
    const auto loaded = loadedFor({"unload", home_.write("a.plist", jobFile("a"))});

    EXPECT_THAT(loaded, HasSubstr("Could not find specified service"));
    EXPECT_THAT(loaded, Not(HasSubstr(module)));
}

TEST_F(ServiceManagerModule, IsLoadedWithTheLibraryForTheBusToAskForAManager) {
    const auto job = home_.write("a.plist", jobFile("a"));
    fs::permissions(job, fs::perms(0644));

    const auto loaded = loadedFor({"load", job});

    EXPECT_THAT(loaded, HasSubstr("there is no service manager: "));
    EXPECT_THAT(loaded, HasSubstr(module));
    EXPECT_THAT(loaded, HasSubstr(busLibrary));
}

} // namespace
