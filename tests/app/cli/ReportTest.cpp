#include "app/cli/Report.h"

#include "app/cli/Observation.h"
#include "app/cli/Run.h"
#include "platform/SystemInformation.h"
#include "tests/support/AuthorizationDouble.h"
#include "tests/support/FileSystemDoubles.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/ProcessLauncherDouble.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <filesystem>

using cli::ExitStatus;
using cli::Observation;
using cli::Options;
using cli::Outcome;
using cli::outcomesOf;
using nlohmann::json;
using platform::ScopedService;
using ::testing::HasSubstr;

namespace {

class Information : public platform::SystemInformation {
    std::string globallyUniqueString() override { return {}; }
    std::string operatingSystemVersion() override { return {}; }
    std::string hostName() override { return "machine"; }
    long processorCount() override { return 1; }
    std::uint64_t physicalMemory() override { return 0; }
    std::optional<std::string> executablePath() override { return std::nullopt; }
    std::optional<std::string> bundleVersion() override { return "1.2.3"; }
};

/// A disk that keeps what is written to it.
class WritableFileSystem : public DescribedFileSystem {
public:
    std::vector<std::string> written;

    std::optional<platform::Error> writeAtomically(const std::string& path,
                                                   std::string_view content) override {
        files.insert(path);
        written.emplace_back(content);
        return writeError;
    }
};

/// Keeps what a person would read.
class KeptOutput : public cli::TextOutput {
public:
    std::string text;

    void paragraph(std::string_view words) override { line(words); }
    void line(std::string_view words) override { text.append(words) += '\n'; }
    void gap() override { text += '\n'; }
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

/// What is observed at ports of doubles. The observation installs itself, so the doubles' scopes
/// are outside.
class ReportTest : public ::testing::Test {
protected:
    static std::optional<platform::Error> recycle(const std::string& name) {
        return platform::service<platform::Workspace>().recycle("/x", "/trash", name);
    }
    static void askForRight() {
        (void)platform::service<platform::AuthorizationServices>().copyRights({}, {}, {}, 0);
    }

    Outcome outcomeOf(const InventoryRow& row) {
        return outcomesOf({row}, *observation).front().outcome;
    }

    WritableFileSystem disk;
    RecordingWorkspace workspace;
    RecordingAuthorizationServices services;
    RecordingProcessLauncher launcher;
    FakeAccount account;
    Information information;
    ScopedService<platform::FileSystem> diskScope{disk};
    ScopedService<platform::Workspace> workspaceScope{workspace};
    ScopedService<platform::AuthorizationServices> servicesScope{services};
    ScopedService<platform::ProcessLauncher> launcherScope{launcher};
    ScopedService<platform::UserAccount> accountScope{account};
    ScopedService<platform::SystemInformation> informationScope{information};
    std::unique_ptr<Observation> observation = std::make_unique<Observation>();
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

TEST_F(ReportTest, TellsWhyAnItemWasLeft) {
    disk.files = {"/x/a", "/x/b", "/x/c", "/x/d"};
    workspace.errors = {{"/x/a", {.localizedDescription = "It is closed."}},
                        {"/x/b", {.localizedDescription = "It is nailed down."}}};
    EXPECT_TRUE(recycle("a"));
    services.rightsStatus = platform::errAuthorizationCanceled;
    askForRight();
    EXPECT_TRUE(recycle("b"));
    EXPECT_FALSE(recycle("c"));

    const auto reason = [&](const std::string& path) {
        return outcomesOf({rowOf(path, ItemState::found)}, *observation).front().reason;
    };

    EXPECT_EQ(reason("/x/a"), "It is closed. The administrator's password was not given.");
    EXPECT_EQ(reason("/x/b"), "It is nailed down.");
    EXPECT_EQ(reason("/x/c"), "It was moved to the Trash, but something stands there again.");
    EXPECT_EQ(reason("/x/d"), "It could not be removed.");
}

TEST_F(ReportTest, TellsWhatBecameOfTheRight) {
    workspace.errors = {{"/x/a", {.localizedDescription = "No."}}};
    (void)recycle("a");
    for (const auto& [status, words] :
         {std::pair{platform::errAuthorizationDenied, "No. The administrator's right was denied."},
          {platform::errAuthorizationInternal,
           "No. The administrator's right cannot be had on this machine."},
          {platform::errAuthorizationSuccess,
           "No. It could not be moved with the administrator's right either."}}) {
        services.rightsStatus = status;
        askForRight();
        EXPECT_EQ(observation->whyNotMoved("/x/a"), words);
    }
}

TEST_F(ReportTest, WaitsForToolsThatHaveTheRight) {
    services.toolOutput = "words";

    const auto tool = platform::service<platform::AuthorizationServices>().executeWithPrivileges(
        {}, "/bin/mv", 0, {});

    EXPECT_EQ(services.unreadOutput, 0);
    std::string said;
    EXPECT_TRUE(*tool.output >> said);
    EXPECT_EQ(said, "words");
}

TEST_F(ReportTest, WaitsForMoversAlone) {
    auto& observed = platform::service<platform::ProcessLauncher>();
    const auto tool = observed.launch({.launchPath = "/usr/bin/tool"});
    const auto mover = observed.launch({.launchPath = "/bin/mv"});

    observation->waitForMovers();

    EXPECT_TRUE(tool->isRunning());
    EXPECT_FALSE(mover->isRunning());
}

TEST_F(ReportTest, ListsForAPerson) {
    EXPECT_EQ(cli::listAsText({{PlanAction::kill, "/k", {"A", "B"}, "", ItemState::none, 0},
                               rowOf("/x/found", ItemState::found),
                               rowOf("/x/found", ItemState::repeated),
                               rowOf("/x/line\nend", ItemState::absent),
                               {PlanAction::trashBundle, "com.a", {}, "", ItemState::absent}}),
              "stop               A, B\n"
              "found      1.2 kB  /x/found\n"
              "repeated           /x/found\n"
              "absent             /x/line\\x0Aend\n"
              "absent             com.a\n"
              "\n"
              "1 item found, 1.2 kB\n");
}

TEST_F(ReportTest, CountsWhatIsFound) {
    EXPECT_EQ(cli::listAsText({}), "\n0 items found, 0 B\n");
    EXPECT_THAT(cli::listAsText({rowOf("/x/a", ItemState::found), rowOf("/x/b", ItemState::found)}),
                HasSubstr("\n2 items found, 2.5 kB\n"));
}

TEST_F(ReportTest, ListsForAProgram) {
    const auto document =
        json::parse(cli::listAsJson({{PlanAction::kill, "/k", {"A"}, "", ItemState::none, 0},
                                     rowOf("/x/\xFF", ItemState::found)},
                                    RemoveShared::yes));

    EXPECT_EQ(document["version"], 1);
    EXPECT_EQ(document["program"], "kelvane-uninstaller 1.2.3");
    EXPECT_EQ(document["host"], "machine");
    EXPECT_EQ(document["user"], "someone");
    EXPECT_EQ(document["removeShared"], true);
    EXPECT_EQ(document["found"], 1);
    EXPECT_EQ(document["size"], 1234);
    EXPECT_EQ(document["rows"][0],
              json({{"action", "kill"}, {"subject", "/k"}, {"names", {"A"}}, {"state", "none"}}));
    EXPECT_EQ(document["rows"][1], json({{"action", "trash"},
                                         {"subject", "/x/\\xFF"},
                                         {"path", "/x/\\xFF"},
                                         {"state", "found"},
                                         {"size", 1234}}));
}

/// For a scope, the working folder is one that does not exist.
class WithoutWorkingFolder {
public:
    WithoutWorkingFolder() {
        const TemporaryFolder folder;
        std::filesystem::current_path(folder.path());
    }
    ~WithoutWorkingFolder() {
        std::error_code ignored;
        std::filesystem::current_path(former_, ignored);
    }
    WithoutWorkingFolder(const WithoutWorkingFolder&) = delete;
    WithoutWorkingFolder& operator=(const WithoutWorkingFolder&) = delete;
    WithoutWorkingFolder(WithoutWorkingFolder&&) = delete;
    WithoutWorkingFolder& operator=(WithoutWorkingFolder&&) = delete;

private:
    const std::filesystem::path former_ = std::filesystem::current_path();
};

class RunTest : public ReportTest {
protected:
    cli::Run run() {
        Options options;
        options.report = report;
        return {options, inventory, *observation, output};
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

    EXPECT_EQ(begun.finish(), ExitStatus::complete);

    EXPECT_EQ(lastReport()["result"], "complete");
    EXPECT_EQ(lastReport()["removeShared"], true);
    EXPECT_EQ(lastReport()["rows"][0]["outcome"], "moved");
    EXPECT_EQ(output.text, "");
}

TEST_F(RunTest, TellsWhatWasLeft) {
    disk.files = {"/x/there"};
    inventory.rows = {rowOf("/x/there", ItemState::found), rowOf("/x/there", ItemState::repeated)};
    auto begun = run();
    begun.begin(RemoveShared::no);

    EXPECT_EQ(begun.finish(), ExitStatus::leftInPlace);

    EXPECT_EQ(output.text, "\nLeft in place:\n/x/there\n    It could not be removed.\n");
    EXPECT_EQ(lastReport()["result"], "leftInPlace");
    EXPECT_EQ(lastReport()["rows"][1]["reason"], "It could not be removed.");
}

TEST_F(RunTest, IsCancelledWhenItHasNotBegun) {
    EXPECT_EQ(run().finish(), ExitStatus::cancelled);

    EXPECT_EQ(lastReport()["result"], "cancelled");
    EXPECT_EQ(output.text, "Nothing was removed.\n");
}

TEST_F(RunTest, WritesAndMeasuresNothingWhereNoReportIsWanted) {
    report.reset();
    auto begun = run();
    begun.prepare();
    begun.begin(RemoveShared::no);

    EXPECT_EQ(begun.finish(), ExitStatus::complete);

    EXPECT_TRUE(disk.written.empty());
    EXPECT_EQ(inventory.sizes, Sizes::no);
}

TEST_F(RunTest, SaysThatTheReportCannotBeWritten) {
    disk.writeError = platform::Error{.localizedDescription = "The disk is full."};
    try {
        run().prepare();
        FAIL();
    } catch (const platform::Exception& exception) {
        EXPECT_EQ(exception.reason(), "cannot write the report /r/report.json: The disk is full.");
    }
}

TEST_F(RunTest, SaysThatARelativeReportHasNoFolder) {
    const WithoutWorkingFolder here;
    report = "report.json";
    try {
        run();
        ADD_FAILURE();
    } catch (const platform::Exception& exception) {
        EXPECT_EQ(exception.reason(),
                  "cannot write the report report.json: the working folder does not exist");
    }
}

TEST_F(RunTest, ReplacesNothingThatIsNoFile) {
    disk.folders["/r/report.json"] = std::vector<std::string>();

    EXPECT_THROW(run().prepare(), platform::Exception);
    EXPECT_TRUE(disk.written.empty());
}

} // namespace
