#include "platform/linux/process/Modules.h"

#include "tests/platform/linux/RunChild.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace fs = std::filesystem;
using ::testing::HasSubstr;

namespace {

/// An installation in a directory of its own: the tests' child program, and the module that it asks
/// for.
class ModulesTest : public ::testing::Test {
protected:
    ModulesTest() {
        directory.makeDirectory("bin");
        directory.makeDirectory("libexec");
        fs::create_directory(installed);
        fs::copy_file(QF_CHILD, program);
    }

    Outcome call(const std::vector<std::string>& environment = {}) {
        return run({program, "module", "answering"}, environment);
    }

    TemporaryDirectory directory;
    const std::string program = directory / "bin/program";
    const std::string installed = directory / "libexec/kelvane-uninstaller";
    const std::string module = installed + "/answering.so";
};

TEST_F(ModulesTest, AreLoadedFromTheInstallationThatTheProgramBelongsTo) {
    fs::copy_file(QF_MODULE, module);

    EXPECT_EQ(call().output, "42\n");
}

TEST_F(ModulesTest, AreLoadedFromNowhereElse) {
    const auto elsewhere = directory.makeDirectory("elsewhere");
    fs::copy_file(QF_MODULE, elsewhere + "/answering.so");
    fs::copy_file(QF_MODULE, directory / "bin/answering.so");

    EXPECT_THAT(call({"LD_LIBRARY_PATH=" + elsewhere, "PWD=" + elsewhere}).output,
                HasSubstr(module + ": cannot open shared object file: No such file"));
}

TEST_F(ModulesTest, NameTheFileThatIsNoModule) {
    fs::copy_file("/etc/passwd", module);

    EXPECT_THAT(call().output, HasSubstr(module));
}

TEST_F(ModulesTest, NameTheFunctionThatIsMissing) {
    fs::copy_file(QF_OTHER_LIBRARY, module);

    EXPECT_THAT(call().output, HasSubstr("undefined symbol: moduleMain"));
}

} // namespace
