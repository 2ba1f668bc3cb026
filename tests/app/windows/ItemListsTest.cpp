#include "app/windows/ItemLists.h"

#include "platform/Services.h"
#include "tests/support/FileSystemDoubles.h"
#include "tests/support/UpperCaseLanguage.h"

#include <gtest/gtest.h>

using cli::Outcome;
using qf::qt::asText;

namespace {

cli::RowOutcome leftAt(const std::string& path, const std::string& cause) {
    return {
        .row = {.path = path}, .outcome = Outcome::left, .reason = path + cause, .cause = cause};
}

class ItemLists : public ::testing::Test {
protected:
    DescribedFileSystem disk;
    qf::ScopedService<qf::FileSystem> scope{disk};
};

TEST_F(ItemLists, NameWhatARunWouldRemoveAndHow) {
    disk.directories["/own"] = std::vector<std::string>{"a"};
    const auto list = start::plannedItems(
        {{.action = PlanAction::kill,
          .names = {"Dunmarl", "Ospenth", "Vellicor"},
          .running = {"Dunmarl", "Ospenth"}},
         {.action = PlanAction::trash, .path = "/own/a", .state = ItemState::found, .size = 1200},
         {.action = PlanAction::trash, .path = "/own/b", .state = ItemState::absent},
         {.action = PlanAction::trash, .path = "/own/a", .state = ItemState::repeated},
         {.action = PlanAction::removeAgent,
          .path = "/own/job.plist",
          .state = ItemState::found,
          .size = 300}});

    EXPECT_EQ(list.message, "2 items, 1.5 kB. Nothing is removed before you press Uninstall.");
    EXPECT_EQ(asText(list.sections), "Moved to the Trash\n    /own/a  1.2 kB\n"
                                     "Background jobs, stopped and deleted\n"
                                     "    /own/job.plist  300 B\n"
                                     "Running programs, closed\n    Dunmarl\n    Ospenth\n");
    EXPECT_FALSE(list.canTryAgain);
}

TEST_F(ItemLists, SayWhichItemsNeedAPassword) {
    disk.directories["/Library/Preferences"] = std::vector<std::string>{"a.plist"};
    disk.readOnly = {"/Library/Preferences"};
    const auto list = start::plannedItems({{.action = PlanAction::trash,
                                            .path = "/Library/Preferences/a.plist",
                                            .state = ItemState::found,
                                            .size = 5}});

    EXPECT_EQ(list.message, "1 item, 5 B. Nothing is removed before you press Uninstall.");
    EXPECT_EQ(list.sections.front().items.front().detail, "5 B, needs a password");
}

TEST_F(ItemLists, AreInTheLanguageOfThePerson) {
    UpperCaseLanguage language;
    const qf::ScopedService<qf::Language> shown(language);
    const auto list = start::plannedItems({{.action = PlanAction::trash,
                                            .path = "/Library/a.plist",
                                            .state = ItemState::found,
                                            .size = 1200}});

    EXPECT_EQ(list.title, "ITEMS TO REMOVE");
    EXPECT_EQ(list.message, "1 ITEM, 1.2 kB. NOTHING IS REMOVED BEFORE YOU PRESS UNINSTALL.");
    EXPECT_EQ(asText(list.sections),
              "MOVED TO THE TRASH\n    /Library/a.plist  1.2 kB, NEEDS A PASSWORD\n");
}

TEST_F(ItemLists, SayThatNothingWasFound) {
    EXPECT_EQ(start::plannedItems({}).message, "Nothing of the suite was found.");
}

TEST_F(ItemLists, SayOnceWhySeveralItemsWereLeft) {
    const auto list =
        start::itemsLeft({leftAt("/x/a", "Not allowed."), leftAt("/x/b", "The disk is full."),
                          leftAt("/x/c", "Not allowed.")});

    EXPECT_EQ(asText(list.sections),
              "Not allowed.\n    /x/a\n    /x/c\nThe disk is full.\n    /x/b\n");
    EXPECT_TRUE(list.canTryAgain);
}

cli::UndoneItem backAt(const std::string& path) {
    return {.path = path};
}

cli::UndoneItem notBackAt(const std::string& path, const std::string& reason) {
    return {.path = path, .isLeft = true, .reason = path + reason, .cause = reason};
}

TEST_F(ItemLists, SayThatEverythingIsBack) {
    const auto list = start::itemsPutBack({{backAt("/x/a"), backAt("/x/b")}, {}});

    EXPECT_EQ(list.message, "Kelvane is back in its place.");
    EXPECT_EQ(asText(list.sections), "Back in their places\n    /x/a\n    /x/b\n");
    EXPECT_FALSE(list.canTryAgain);
}

TEST_F(ItemLists, SayWhatIsNotBackAndWhy) {
    const auto list =
        start::itemsPutBack({{backAt("/x/a"), notBackAt("/x/b", "Not allowed.")}, {}});

    EXPECT_EQ(list.message, "Not everything could be put back. What failed is where it was.");
    EXPECT_EQ(asText(list.sections), "Back in their places\n    /x/a\nNot allowed.\n    /x/b\n");
}

TEST_F(ItemLists, SayWhyPuttingBackEndedEarly) {
    const auto list = start::itemsPutBack({{backAt("/x/a")}, "line 3: it was edited"});

    EXPECT_EQ(list.message, "Not everything could be put back: line 3: it was edited");
    EXPECT_EQ(asText(list.sections), "Back in their places\n    /x/a\n");
}

TEST_F(ItemLists, SayThatThereIsNothingToPutBack) {
    EXPECT_EQ(start::itemsPutBack({}).message, "There is nothing to put back.");
}

} // namespace
