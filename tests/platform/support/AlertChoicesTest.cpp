#include "platform/support/AlertChoices.h"

#include "platform/Services.h"
#include "tests/support/MemoryPreferences.h"
#include "tests/support/NamedCase.h"

#include <gtest/gtest.h>

#include <utility>

using platform::AlertDescription;
using platform::AlertPanel;

namespace {

using Buttons = std::vector<std::pair<std::string, int>>;

Buttons buttonsOf(const AlertDescription& description) {
    Buttons buttons;
    for (const auto& [title, answer] : platform::alertButtons(description)) {
        buttons.emplace_back(title, answer);
    }
    return buttons;
}

} // namespace

TEST(AlertButtons, AreTheDefaultOneThenTheAlternateAndTheOther) {
    EXPECT_EQ(buttonsOf({.defaultButtonTitle = "Save",
                         .alternateButtonTitle = "Cancel",
                         .otherButtonTitle = "Discard"}),
              (Buttons{{"Save", 1}, {"Cancel", 0}, {"Discard", -1}}));
    EXPECT_EQ(buttonsOf({.defaultButtonTitle = "Save", .otherButtonTitle = "Discard"}),
              (Buttons{{"Save", 1}, {"Discard", -1}}));
}

TEST(AlertButtons, HaveTheSystemsOwnDefaultTitleWhenThatIsMissingOrEmpty) {
    EXPECT_EQ(buttonsOf({}), (Buttons{{"OK", 1}}));
    EXPECT_EQ(buttonsOf({.defaultButtonTitle = ""}), (Buttons{{"OK", 1}}));
}

TEST(AlertClosing, IsTheAlternateAnswerElseTheOtherElseTheDefault) {
    EXPECT_EQ(
        platform::answerOfClosing({.alternateButtonTitle = "Cancel", .otherButtonTitle = "No"}),
        AlertPanel::alternateReturn);
    EXPECT_EQ(platform::answerOfClosing({.otherButtonTitle = "No"}), AlertPanel::otherReturn);
    EXPECT_EQ(platform::answerOfClosing({.defaultButtonTitle = "Yes"}), AlertPanel::defaultReturn);
}

struct StoredChoice : NamedCase {
    platform::Value value;
    bool suppresses;
};

class AlertSuppression : public testing::TestWithParam<StoredChoice> {};

TEST_P(AlertSuppression, IsAPreferenceThatIsTrueOrANumberExceptZero) {
    MemoryPreferences preferences;
    const platform::ScopedService<platform::Preferences> scope(preferences);
    preferences.setValue("hide", GetParam().value);
    EXPECT_EQ(platform::isSuppressed("hide"), GetParam().suppresses);
}

INSTANTIATE_TEST_SUITE_P(
    All, AlertSuppression,
    testing::Values(StoredChoice{{"None"}, {}, false}, StoredChoice{{"True"}, true, true},
                    StoredChoice{{"False"}, false, false}, StoredChoice{{"Two"}, 2, true},
                    StoredChoice{{"Zero"}, 0, false}, StoredChoice{{"Half"}, 0.5, true},
                    StoredChoice{{"RealZero"}, 0.0, false}, StoredChoice{{"Text"}, "no", false}),
    nameOfCase);
