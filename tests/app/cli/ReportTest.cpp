#include "app/cli/Report.h"

#include "app/cli/Run.h"
#include "app/cli/RunObserver.h"
#include "tests/app/cli/CliDoubles.h"
#include "tests/support/FileSystemDoubles.h"
#include "tests/support/NamedCase.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <iostream>

using cli::ExitStatus;
using cli::Options;
using cli::Outcome;
using cli::outcomesOf;
using cli::RunObserver;
using nlohmann::json;
using qf::ScopedService;
using ::testing::HasSubstr;

namespace {

/// A disk that keeps what is written to it.
class WritableFileSystem : public DescribedFileSystem {
public:
    std::vector<std::string> written;

    qf::Result<void> writeAtomically(const std::string& path, std::string_view content) override {
        files.insert(path);
        written.emplace_back(content);
        return writeResult;
    }
};

class FixedInventory : public Inventory {
public:
    std::vector<InventoryRow> rows;
    std::optional<Sizes> sizes;

    std::vector<InventoryRow> take(RemoveShared /*removeShared*/, Sizes wanted) override {
        sizes = wanted;
        return rows;
    }
};

InventoryRow rowOf(const std::string& path, ItemState state,
                   PlanAction action = PlanAction::trash) {
    return {action, path, {}, path, state, state == ItemState::found ? 1234U : 0U};
}

qf::TrashResult failure(const std::string& why, std::optional<qf::AuthorizationStatus> right) {
    return {.outcome = qf::TrashOutcome::failed,
            .error = qf::Error{.localizedDescription = why},
            .right = right};
}

class ReportTest : public ::testing::Test {
protected:
    Outcome outcomeOf(const InventoryRow& row) {
        return outcomesOf({row}, observer).front().outcome;
    }

    std::string reasonOf(const std::string& path) {
        disk.files.insert(path);
        return outcomesOf({rowOf(path, ItemState::found)}, observer).front().reason;
    }

    WritableFileSystem disk;
    FakeAccount account;
    Information information;
    ScopedService<qf::FileSystem> diskScope{disk};
    ScopedService<qf::UserAccount> accountScope{account};
    ScopedService<qf::SystemInformation> informationScope{information};
    RunObserver observer;
    KeptOutput output;
    FixedInventory inventory;
};

TEST_F(ReportTest, TellsWhatBecameOfARow) {
    EXPECT_EQ(outcomeOf(rowOf("", ItemState::none, PlanAction::kill)), Outcome::signalled);
    EXPECT_EQ(outcomeOf(rowOf("/x/gone", ItemState::found)), Outcome::moved);
    EXPECT_EQ(outcomeOf(rowOf("/x/gone", ItemState::found, PlanAction::removeAgent)),
              Outcome::deleted);
    EXPECT_EQ(outcomeOf(rowOf("/x/gone", ItemState::repeated)), Outcome::absent);
    EXPECT_EQ(outcomeOf(rowOf("/x/gone", ItemState::absent)), Outcome::absent);
    disk.files = {"/x/there"};
    EXPECT_EQ(outcomeOf(rowOf("/x/there", ItemState::found)), Outcome::left);
    EXPECT_EQ(outcomeOf(rowOf("/x/there", ItemState::repeated)), Outcome::left);
}

TEST_F(ReportTest, TellsWhatWasMovedAndThenDeletedForGood) {
    observer.itemEnded("/x/a", {.outcome = qf::TrashOutcome::moved});
    observer.itemDeleted("/x/a");

    EXPECT_EQ(outcomeOf(rowOf("/x/a", ItemState::found)), Outcome::deleted);
}

TEST_F(ReportTest, KnowsNoCauseOfWhatWasNotTried) {
    EXPECT_EQ(observer.lastCause("/x/a"), "");
    EXPECT_EQ(observer.whyNotMoved("/x/a"), "");
}

TEST_F(ReportTest, NamesWhatBecameOfEachRow) {
    const auto row = rowOf("/x/a", ItemState::found);
    const std::vector<cli::RowOutcome> outcomes{{.row = row, .outcome = Outcome::signalled},
                                                {.row = row, .outcome = Outcome::moved},
                                                {.row = row, .outcome = Outcome::deleted},
                                                {.row = row, .outcome = Outcome::absent},
                                                {.row = row, .outcome = Outcome::left}};
    std::vector<std::string> names;
    const auto document = json::parse(cli::reportAsJson("leftInPlace", RemoveShared::no, outcomes));
    for (const auto& reported : document["rows"]) {
        names.push_back(reported["outcome"]);
    }

    EXPECT_EQ(names, (std::vector<std::string>{"signalled", "moved", "deleted", "absent", "left"}));
}

TEST_F(ReportTest, TellsWhyAnItemWasLeft) {
    observer.itemEnded("/x/a", failure("It is closed.", qf::errAuthorizationCanceled));
    observer.itemEnded("/x/b", failure("It is nailed down.", std::nullopt));
    observer.itemEnded("/x/c", {.outcome = qf::TrashOutcome::moved});

    EXPECT_EQ(observer.lastCause("/x/a"), "It takes an administrator's password to move it.");
    EXPECT_EQ(observer.lastCause("/x/b"), "It is nailed down.");
    EXPECT_EQ(reasonOf("/x/a"), "It is closed. It takes an administrator's password to move it.");
    EXPECT_EQ(reasonOf("/x/b"), "It is nailed down.");
    EXPECT_EQ(reasonOf("/x/c"),
              "It was moved to the Trash, but there is an item at its path again.");
    EXPECT_EQ(reasonOf("/x/d"), "It could not be removed.");
}

TEST_F(ReportTest, KeepsAnItemsReasonWhenALaterRowFindsNothing) {
    observer.itemEnded("/x/a", failure("It is closed.", std::nullopt));
    observer.itemEnded("/x/a", {.outcome = qf::TrashOutcome::absent});

    EXPECT_EQ(reasonOf("/x/a"), "It is closed.");
}

TEST_F(ReportTest, RemembersAMoveWhenALaterOneFails) {
    observer.itemEnded("/x/a", {.outcome = qf::TrashOutcome::moved});
    observer.itemEnded("/x/a", failure("It is closed.", std::nullopt));

    EXPECT_EQ(reasonOf("/x/a"),
              "It was moved to the Trash, but there is an item at its path again.");
}

struct StatusOfTheRight : NamedCase {
    qf::AuthorizationStatus status;
    const char* words;
};

class ReportOfTheRightTest : public ReportTest,
                             public testing::WithParamInterface<StatusOfTheRight> {};

TEST_P(ReportOfTheRightTest, FollowsTheReason) {
    observer.itemEnded("/x/a", failure("No.", GetParam().status));
    EXPECT_EQ(reasonOf("/x/a"), GetParam().words);
}

INSTANTIATE_TEST_SUITE_P(
    All, ReportOfTheRightTest,
    testing::Values(
        StatusOfTheRight{
            {"Denied"}, qf::errAuthorizationDenied, "No. The administrator's right was denied."},
        StatusOfTheRight{{"WrongPassword"},
                         qf::errAuthorizationWrongPassword,
                         "No. The administrator's password was wrong."},
        StatusOfTheRight{{"Unavailable"},
                         qf::errAuthorizationInternal,
                         "No. The administrator's right cannot be had on this machine."},
        StatusOfTheRight{{"NoHelp"},
                         qf::errAuthorizationSuccess,
                         "No. It could not be moved with the administrator's right either."}),
    nameOfCase);

TEST_F(ReportTest, WaitsForAToolBeforeTheNextItem) {
    bool ended = false;

    observer.itemEnded("/x/a", {.outcome = qf::TrashOutcome::handedOver,
                                .error = qf::Error{},
                                .waitUntilDone = [&ended] { ended = true; }});

    EXPECT_TRUE(ended);
}

TEST_F(ReportTest, ListsForAPerson) {
    EXPECT_EQ(cli::listAsText(
                  {{PlanAction::kill, "/k", {"A", "B", "C"}, "", ItemState::none, 0, {"A", "B"}},
                   {PlanAction::kill, "/k", {"D"}, "", ItemState::none, 0},
                   rowOf("/x/found", ItemState::found),
                   rowOf("/x/found", ItemState::repeated),
                   rowOf("/x/line\nend", ItemState::absent),
                   {PlanAction::trashBundle, "com.a", {}, "", ItemState::absent},
                   {PlanAction::trashBundle, "com.b", {"A", "B"}, "", ItemState::absent}}),
              "stop               A, B\n"
              "found      1.2 kB  /x/found\n"
              "repeated           /x/found\n"
              "absent             /x/line\\x0Aend\n"
              "absent             com.a\n"
              "absent             com.b: A, B\n"
              "\n"
              "1 item found, 1.2 kB\n");
}

TEST_F(ReportTest, GivesSizesInTheLargestUnitThatTheyFill) {
    EXPECT_EQ(cli::readableSize(999), "999 B");
    EXPECT_EQ(cli::readableSize(1000), "1.0 kB");
    EXPECT_EQ(cli::readableSize(2'000'000'000'000'000), "2.0 PB");
    EXPECT_EQ(cli::readableSize(3'000'000'000'000'000'000), "3000.0 PB");
}

TEST_F(ReportTest, CountsWhatIsFound) {
    EXPECT_EQ(cli::listAsText({}), "\n0 items found, 0 B\n");
    EXPECT_THAT(cli::listAsText({rowOf("/x/a", ItemState::found), rowOf("/x/b", ItemState::found)}),
                HasSubstr("\n2 items found, 2.5 kB\n"));
}

TEST_F(ReportTest, ListsForAProgram) {
    const auto document = json::parse(
        cli::listAsJson({{PlanAction::kill, "/k", {"A", "B"}, "", ItemState::none, 0, {"B"}},
                         rowOf("/x/\xFF", ItemState::found)},
                        RemoveShared::yes));

    EXPECT_EQ(document["version"], 1);
    EXPECT_EQ(document["program"], "kelvane-uninstaller 1.2.3");
    EXPECT_EQ(document["host"], "machine");
    EXPECT_EQ(document["user"], "someone");
    EXPECT_EQ(document["removeShared"], true);
    EXPECT_EQ(document["found"], 1);
    EXPECT_EQ(document["size"], 1234);
    EXPECT_EQ(document["rows"][0], json({{"action", "kill"},
                                         {"subject", "/k"},
                                         {"names", {"A", "B"}},
                                         {"state", "none"},
                                         {"running", {"B"}}}));
    EXPECT_EQ(document["rows"][1], json({{"action", "trash"},
                                         {"subject", "/x/\\xFF"},
                                         {"path", "/x/\\xFF"},
                                         {"state", "found"},
                                         {"size", 1234}}));
}

/// Makes the working directory, for a scope, one that does not exist.
class WithoutWorkingDirectory {
public:
    WithoutWorkingDirectory() {
        const TemporaryDirectory directory;
        std::filesystem::current_path(directory.path());
    }
    ~WithoutWorkingDirectory() {
        std::error_code ignored;
        std::filesystem::current_path(former_, ignored);
    }
    WithoutWorkingDirectory(const WithoutWorkingDirectory&) = delete;
    WithoutWorkingDirectory& operator=(const WithoutWorkingDirectory&) = delete;
    WithoutWorkingDirectory(WithoutWorkingDirectory&&) = delete;
    WithoutWorkingDirectory& operator=(WithoutWorkingDirectory&&) = delete;

private:
    const std::filesystem::path former_ = std::filesystem::current_path();
};

class RunTest : public ReportTest {
protected:
    cli::Run run() {
        Options options;
        options.report = report;
        return {options, inventory, observer};
    }

    json lastReport() const { return json::parse(disk.written.back()); }

    std::optional<std::string> report = "/r/report.json";
};

TEST_F(RunTest, ReportsFromTheBeginning) {
    auto begun = run();
    begun.prepare();
    EXPECT_EQ(lastReport()["result"], "running");
    inventory.rows = {rowOf("/x/gone", ItemState::found)};
    begun.begin(RemoveShared::yes);
    EXPECT_EQ(inventory.sizes, Sizes::yes);

    EXPECT_EQ(begun.finish().status, ExitStatus::complete);
    begun.writeReport();

    EXPECT_EQ(lastReport()["result"], "complete");
    EXPECT_EQ(lastReport()["removeShared"], true);
    EXPECT_EQ(lastReport()["rows"][0]["outcome"], "moved");
}

TEST_F(RunTest, ReportsWhereInTheTrashAnItemIs) {
    inventory.rows = {rowOf("/x/gone", ItemState::found)};
    auto begun = run();
    begun.begin(RemoveShared::no);
    observer.itemEnded("/x/gone", {.outcome = qf::TrashOutcome::moved, .place = "/t/gone.2"});
    observer.itemEnded("/x/gone", {.outcome = qf::TrashOutcome::absent});

    begun.finish();
    begun.writeReport();

    EXPECT_EQ(lastReport()["rows"][0]["trashed"], "/t/gone.2");
}

TEST_F(RunTest, TellsWhatWasLeft) {
    disk.files = {"/x/there"};
    inventory.rows = {rowOf("/x/there", ItemState::found), rowOf("/x/there", ItemState::repeated)};
    auto begun = run();
    begun.begin(RemoveShared::no);

    const auto end = begun.finish();
    tell(end, output);
    begun.writeReport();

    EXPECT_EQ(end.status, ExitStatus::leftInPlace);
    EXPECT_EQ(output.text, "\nLeft in place:\n/x/there\n    It could not be removed.\n");
    EXPECT_EQ(lastReport()["result"], "leftInPlace");
    EXPECT_EQ(lastReport()["rows"][1]["reason"], "It could not be removed.");
}

TEST_F(RunTest, IsCancelledWhenItHasNotBegun) {
    auto cancelled = run();
    const auto end = cancelled.finish();
    tell(end, output);
    cancelled.writeReport();

    EXPECT_EQ(end.status, ExitStatus::cancelled);
    EXPECT_EQ(lastReport()["result"], "cancelled");
    EXPECT_EQ(output.text, "Nothing was removed.\n");
}

TEST_F(RunTest, SaysNothingOfACompleteOne) {
    tell({ExitStatus::complete, {}}, output);

    EXPECT_EQ(output.text, "");
}

TEST_F(RunTest, WritesAndMeasuresNothingIfNoReportIsWanted) {
    report.reset();
    auto begun = run();
    begun.prepare();
    begun.begin(RemoveShared::no);

    EXPECT_EQ(begun.finish().status, ExitStatus::complete);
    begun.writeReport();

    EXPECT_TRUE(disk.written.empty());
    EXPECT_EQ(inventory.sizes, Sizes::no);
}

TEST_F(RunTest, PrintsOneReportAtTheEndWhereThatIsWanted) {
    report = "-";
    auto begun = run();
    ::testing::internal::CaptureStdout();
    begun.prepare();
    begun.begin(RemoveShared::no);
    begun.finish();
    begun.writeReport();

    EXPECT_EQ(json::parse(::testing::internal::GetCapturedStdout())["result"], "complete");
    EXPECT_TRUE(disk.written.empty());
}

TEST_F(RunTest, SaysThatTheReportCannotBePrinted) {
    report = "-";
    auto begun = run();
    begun.begin(RemoveShared::no);
    begun.finish();
    std::cout.setstate(std::ios::failbit);
    std::string why;
    try {
        begun.writeReport();
    } catch (const qf::Exception& exception) {
        why = exception.reason();
    }
    std::cout.clear();

    EXPECT_EQ(why, "cannot write the report -: standard output does not take it");
}

TEST_F(RunTest, SaysThatTheReportCannotBeWritten) {
    disk.writeResult = qf::Unexpected(qf::Error{.localizedDescription = "The disk is full."});
    try {
        run().prepare();
        FAIL();
    } catch (const qf::Exception& exception) {
        EXPECT_EQ(exception.reason(), "cannot write the report /r/report.json: The disk is full.");
    }
}

TEST_F(RunTest, SaysThatARelativeReportHasNoDirectory) {
    const WithoutWorkingDirectory here;
    report = "report.json";
    try {
        run();
        ADD_FAILURE();
    } catch (const qf::Exception& exception) {
        EXPECT_EQ(exception.reason(),
                  "cannot write the report report.json: the working folder does not exist");
    }
}

TEST_F(RunTest, ReplacesNothingThatIsNoFile) {
    disk.directories["/r/report.json"] = std::vector<std::string>();

    EXPECT_THROW(run().prepare(), qf::Exception);
    EXPECT_TRUE(disk.written.empty());
}

} // namespace
