#include "app/start/UndoMain.h"

#include "platform/linux/system/SystemInformation.h"
#include "tests/app/records/MachineOnDisk.h"
#include "tests/support/ScopedDisposition.h"
#include "tests/support/ScopedEnvironment.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>

using cli::Options;
using testing::AllOf;
using testing::ExitedWithCode;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr int complete = 0;
constexpr int cancelled = 4;

/// Makes a terminal the standard input, in which this has been typed already.
void typeOnTerminal(const std::string& text) {
    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
    if (::grantpt(terminal) != 0 || ::unlockpt(terminal) != 0 ||
        ::dup2(::open(::ptsname(terminal), O_RDWR | O_NOCTTY), STDIN_FILENO) != STDIN_FILENO ||
        ::write(terminal, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        std::abort();
    }
}

/// What undoes a run lives until the process ends, so each test has a process of its own. It ends
/// with the status, and says on standard error what it has shown.
class UndoDeathTest : public MachineOnDisk {
protected:
    UndoDeathTest() {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        write(cache("Ospenth"));
        write(cache("Dunmarl"));
    }

    [[noreturn]] void undo(const Options& options) {
        const auto status = start::undoMain(options);
        std::cerr << console.printed();
        for (const auto& item : {"Ospenth", "Dunmarl"}) {
            std::cerr << (exists(cache(item)) ? "back: " : "away: ") << item << '\n';
        }
        for (const auto& entry : std::filesystem::directory_iterator(home / "user/.Trash")) {
            std::cerr << "in the Trash: " << entry.path().filename().string() << '\n';
        }
        std::exit(static_cast<int>(status));
    }

    DefaultEndingSignals endingSignals;

private:
    qf::native::SystemInformation information_;
    qf::ScopedService<qf::SystemInformation> informationScope_{information_};
    /// The process that ends cannot delete its own directory, so it has one inside this process's.
    TemporaryDirectory directory_;
    ScopedEnvironment directoryOfChild_{"TMPDIR", directory_.path()};
};

TEST_F(UndoDeathTest, SaysThatNoRunIsRecorded) {
    EXPECT_EXIT(undo({.putBack = true}), ExitedWithCode(complete),
                AllOf(HasSubstr("No run is recorded."), HasSubstr("back: Ospenth")));
}

TEST_F(UndoDeathTest, PutsBackTheLastRun) {
    uninstall();
    EXPECT_EXIT(undo({.putBack = true}), ExitedWithCode(complete),
                AllOf(HasSubstr("put back"), HasSubstr("back: Ospenth"), HasSubstr("back: Dunmarl"),
                      Not(HasSubstr("No run is recorded."))));
}

TEST_F(UndoDeathTest, DeletesWithoutAQuestionIfThatIsAnswered) {
    uninstall();
    EXPECT_EXIT(undo({.empty = true, .yes = true}), ExitedWithCode(complete),
                AllOf(HasSubstr("deleted"), Not(HasSubstr("[y/N]")),
                      Not(HasSubstr("in the Trash: com.quillfen.Ospenth"))));
}

TEST_F(UndoDeathTest, DeletesWhatThePersonAgreesTo) {
    uninstall();
    EXPECT_EXIT((typeOnTerminal("y\n"), undo({.empty = true})), ExitedWithCode(complete),
                AllOf(HasSubstr("Delete 2 items of the Trash for good? They cannot be put back. "
                                "[y/N] "),
                      Not(HasSubstr("in the Trash: com.quillfen.Ospenth"))));
}

TEST_F(UndoDeathTest, DeletesNothingThatThePersonDoesNotAgreeTo) {
    uninstall();
    EXPECT_EXIT(
        (typeOnTerminal("n\n"), undo({.empty = true})), ExitedWithCode(cancelled),
        AllOf(HasSubstr("Nothing was deleted."), HasSubstr("in the Trash: com.quillfen.Ospenth")));
}

TEST_F(UndoDeathTest, AsksNothingIfThereIsNothingToDelete) {
    EXPECT_EXIT((typeOnTerminal(""), undo({.empty = true})), ExitedWithCode(complete),
                AllOf(HasSubstr("No run is recorded."), Not(HasSubstr("[y/N]"))));
}

TEST_F(UndoDeathTest, SaysWhyTheTrashCannotBeSeenInsteadOfAsking) {
    uninstall();
    desktop.isReadable = false;
    EXPECT_EXIT((typeOnTerminal(""), undo({.empty = true})), ExitedWithCode(1),
                AllOf(HasSubstr("Trash"), Not(HasSubstr("[y/N]"))));
}

TEST_F(UndoDeathTest, RefusesToDeleteIfNobodyCanBeAsked) {
    uninstall();
    ASSERT_FALSE(::isatty(STDIN_FILENO) == 1);
    EXPECT_THROW(start::undoMain({.empty = true}), qf::Exception);
    EXPECT_TRUE(exists(home / "user/.Trash/com.quillfen.Ospenth"));
}

} // namespace
