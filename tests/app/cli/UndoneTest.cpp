#include "app/cli/Undone.h"

#include "tests/app/cli/CliDoubles.h"
#include "tests/app/records/MachineOnDisk.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using cli::ExitStatus;
using nlohmann::json;
using records::Back;
using records::Emptied;
using ::testing::HasSubstr;

namespace {

const std::vector<records::ItemBack> someBack{
    {.path = "/x/a", .place = "/t/a", .outcome = Back::back, .reason = {}},
    {.path = "/x/b", .place = {}, .outcome = Back::inPlace, .reason = {}},
    {.path = "/x/c", .place = "/t/c", .outcome = Back::occupied, .reason = {}},
    {.path = "/x/d", .place = {}, .outcome = Back::gone, .reason = {}},
    {.path = "/x/e", .place = "/t/e", .outcome = Back::failed, .reason = "It is closed."},
};

class UndoneTest : public MachineOnDisk {
protected:
    Information information;
    qf::ScopedService<qf::SystemInformation> informationScope{information};
    KeptOutput output;
};

TEST_F(UndoneTest, TellsAPersonWhatWasPutBackAndWhatWasNot) {
    cli::tell({cli::undone(someBack), {}}, "put back", output);

    EXPECT_EQ(output.text, "2 items put back.\n"
                           "\n"
                           "Not put back:\n"
                           "/x/c\n"
                           "    Something else is in its place.\n"
                           "/x/d\n"
                           "    It is no longer in the Trash.\n"
                           "/x/e\n"
                           "    It is closed.\n");
    EXPECT_EQ(cli::statusOf({cli::undone(someBack), {}}), ExitStatus::leftInPlace);
}

TEST_F(UndoneTest, SaysNoMoreWhenAllIsDone) {
    const std::vector<records::ItemEmptied> items{
        {.path = "/x/a", .place = "/t/a", .outcome = Emptied::deleted, .reason = {}},
        {.path = "/x/b", .place = {}, .outcome = Emptied::gone, .reason = {}}};

    cli::tell({cli::undone(items), {}}, "deleted", output);

    EXPECT_EQ(output.text, "2 items deleted.\n");
    EXPECT_EQ(cli::statusOf({cli::undone(items), {}}), ExitStatus::complete);
}

TEST_F(UndoneTest, SaysWhyItEndedEarlyAndWhatWasDoneByThen) {
    const cli::Undone result{{cli::undone(someBack).front()}, "The system has no memory left."};

    cli::tell(result, "put back", output);

    EXPECT_EQ(output.text, "1 item put back.\n"
                           "Not everything could be put back: The system has no memory left.\n");
    EXPECT_EQ(cli::statusOf(result), ExitStatus::failed);
    const auto document = json::parse(cli::undoneAsJson(result));
    EXPECT_EQ(document["result"], "failed");
    EXPECT_EQ(document["reason"], "The system has no memory left.");
    EXPECT_EQ(document["items"].size(), 1U);
}

TEST_F(UndoneTest, TakesRecordsThatCannotBeReadForNoMissingOnes) {
    write(runs.file(1).substr(0, runs.file(1).rfind('/')), "a file in place of the directory");

    EXPECT_THROW(runs.lastUninstall(), qf::Exception);
    EXPECT_THROW(cli::runsAsText(runs), qf::Exception);
    EXPECT_EQ(cli::interruptionBefore(runs, 1), "");
}

TEST_F(UndoneTest, ListsItemsForAPerson) {
    EXPECT_EQ(cli::itemsAsText(cli::undone(someBack)), "back          /x/a\n"
                                                       "in its place  /x/b\n"
                                                       "occupied      /x/c\n"
                                                       "gone          /x/d\n"
                                                       "not back      /x/e\n"
                                                       "\n"
                                                       "5 items\n");
}

TEST_F(UndoneTest, ListsWhatWouldBePutBack) {
    const std::vector<records::ItemBack> items{
        {.path = "/x/a", .place = "/t/a", .outcome = Back::waiting, .reason = {}}};

    EXPECT_EQ(cli::itemsAsText(cli::undone(items)), "in the Trash  /x/a\n\n1 item\n");
    const auto document = json::parse(cli::itemsAsJson("preview", cli::undone(items)));
    EXPECT_EQ(document["result"], "preview");
    EXPECT_EQ(document["items"],
              json::array({{{"path", "/x/a"}, {"outcome", "waiting"}, {"trashed", "/t/a"}}}));
}

TEST_F(UndoneTest, ListsWhatWasDeletedAndWhatWasNot) {
    const std::vector<records::ItemEmptied> items{
        {.path = "/x/a", .place = "/t/a", .outcome = Emptied::waiting, .reason = {}},
        {.path = "/x/b", .place = "/t/b", .outcome = Emptied::deleted, .reason = {}},
        {.path = "/x/c", .place = "/t/c", .outcome = Emptied::failed, .reason = "It is closed."}};

    EXPECT_EQ(cli::itemsAsText(cli::undone(items)), "in the Trash  /x/a\n"
                                                    "deleted       /x/b\n"
                                                    "not deleted   /x/c\n"
                                                    "\n"
                                                    "3 items\n");
    const auto document = json::parse(cli::undoneAsJson({cli::undone(items), {}}));
    EXPECT_EQ(document["result"], "leftInPlace");
    EXPECT_EQ(document["items"][0]["outcome"], "waiting");
    EXPECT_EQ(document["items"][2]["outcome"], "failed");
}

TEST_F(UndoneTest, TellsAProgramThatAllIsDone) {
    const std::vector<records::ItemBack> items(someBack.begin(), someBack.begin() + 2);
    const cli::Undone result{cli::undone(items), {}};

    EXPECT_EQ(json::parse(cli::undoneAsJson(result))["result"], "complete");
}

TEST_F(UndoneTest, ListsItemsForAProgram) {
    const auto document = json::parse(cli::undoneAsJson({cli::undone(someBack), {}}));

    EXPECT_EQ(document["version"], 1);
    EXPECT_EQ(document["result"], "leftInPlace");
    EXPECT_EQ(document["items"][0],
              json({{"path", "/x/a"}, {"outcome", "back"}, {"trashed", "/t/a"}}));
    EXPECT_EQ(document["items"][4], json({{"path", "/x/e"},
                                          {"outcome", "failed"},
                                          {"trashed", "/t/e"},
                                          {"reason", "It is closed."}}));
}

TEST_F(UndoneTest, SaysThatNothingIsRecorded) {
    EXPECT_EQ(cli::runsAsText(runs), "No run is recorded.\n");
    EXPECT_EQ(cli::lastRunAsText(runs), "No run is recorded.\n");
    EXPECT_EQ(json::parse(cli::runsAsJson(runs))["runs"], json::array());
    EXPECT_EQ(json::parse(cli::lastRunAsJson(runs))["last"], json());
}

TEST_F(UndoneTest, ListsRunsWithTheNewestFirst) {
    write(cache("Ospenth"));
    uninstall();
    records::RunRecorder(runs, jobs).begin(RemoveShared::no);
    write(runs.file(3), "no record\n");

    const auto list = json::parse(cli::runsAsJson(runs))["runs"];

    EXPECT_EQ(list[0]["result"], "unusable");
    EXPECT_THAT(list[0]["reason"].get<std::string>(), HasSubstr("/3.jsonl, line 1: "));
    EXPECT_EQ(list[1]["result"], "interrupted");
    EXPECT_EQ(list[2], json({{"run", 1},
                             {"date", list[2]["date"]},
                             {"removeShared", true},
                             {"result", "complete"},
                             {"items", 1}}));
    EXPECT_THAT(cli::runsAsText(runs), HasSubstr("  1 item, complete\n"));
}

TEST_F(UndoneTest, TellsOfTheInterruptedRunThatARunHasFinished) {
    records::RunRecorder(runs, jobs).begin(RemoveShared::no);
    uninstall();
    uninstall();

    EXPECT_EQ(cli::interruptionBefore(runs, 2),
              "This run has finished one that was interrupted. --put-back undoes both. It had "
              "begun at " +
                  runs.read(1).date);
    EXPECT_EQ(cli::interruptionBefore(runs, 1), "");
    EXPECT_EQ(cli::interruptionBefore(runs, 3), "");
    EXPECT_EQ(cli::interruptionBefore(runs, 0), "");
}

TEST_F(UndoneTest, TellsTheLastRun) {
    const auto item = write(cache("Ospenth"));
    const auto file = write(agent("Lunevar"));
    uninstall();
    const auto place = home / "user/.Trash/com.quillfen.Ospenth";

    EXPECT_THAT(cli::lastRunAsText(runs),
                HasSubstr("moved         " + item + "\n              to " + place + '\n'));
    EXPECT_THAT(cli::lastRunAsText(runs), HasSubstr("deleted       " + file + '\n'));
    const auto items = json::parse(cli::lastRunAsJson(runs))["items"];
    EXPECT_EQ(
        items[0],
        json({{"action", "trash"}, {"path", item}, {"outcome", "moved"}, {"trashed", place}}));
}

TEST_F(UndoneTest, TellsOfAStepThatWasBegunAndOfOneThatLeftItsItem) {
    const auto left = write(cache("Dunmarl"));
    const auto begun = write(cache("Ospenth"));
    records::RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    recorder.rowBegan({PlanAction::trash, left, {}});
    recorder.itemBegan(left);
    recorder.itemEnded(left, {.outcome = qf::TrashOutcome::failed});
    recorder.rowBegan({PlanAction::trash, begun, {}});
    recorder.itemBegan(begun);

    EXPECT_THAT(cli::lastRunAsText(runs), HasSubstr("left          " + left +
                                                    "\n"
                                                    "begun         " +
                                                    begun + '\n'));
    const auto items = json::parse(cli::lastRunAsJson(runs))["items"];
    EXPECT_EQ(items[0], json({{"action", "trash"}, {"path", left}, {"outcome", "left"}}));
    EXPECT_EQ(items[1], json({{"action", "trash"}, {"path", begun}, {"outcome", "begun"}}));
}

TEST_F(UndoneTest, TellsOfARunThatWasUndoneAndOfOneThatLeftSomething) {
    const auto left = write(cache("Dunmarl"));
    records::RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    recorder.rowBegan({PlanAction::trash, left, {}});
    recorder.itemBegan(left);
    recorder.itemEnded(left, {.outcome = qf::TrashOutcome::failed});
    recorder.walkEnded();
    uninstall();
    auto undone = runs.read(2);
    runs.close(undone);

    const auto list = json::parse(cli::runsAsJson(runs))["runs"];

    EXPECT_EQ(list[0]["result"], "undone");
    EXPECT_EQ(list[1]["result"], "leftInPlace");
    EXPECT_EQ(list[1]["items"], 0);
    EXPECT_THAT(cli::runsAsText(runs), HasSubstr("  1 item, put back or deleted\n"));
    EXPECT_THAT(cli::runsAsText(runs), HasSubstr("  0 items, something left in place\n"));
}

} // namespace
