#include "platform/support/AlertChoices.h"

#include "platform/Services.h"
#include "tests/support/MemoryPreferences.h"
#include "tests/support/NamedCase.h"

#include <gtest/gtest.h>

#include <utility>

using qf::AlertDescription;
using qf::AlertPanel;

namespace {

using Buttons = std::vector<std::pair<std::string, int>>;

Buttons buttonsOf(const AlertDescription& description) {
    Buttons buttons;
    for (const auto& [title, answer] : qf::alertButtons(description)) {
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
    EXPECT_EQ(qf::answerOfClosing({.alternateButtonTitle = "Cancel", .otherButtonTitle = "No"}),
              AlertPanel::alternateReturn);
    EXPECT_EQ(qf::answerOfClosing({.otherButtonTitle = "No"}), AlertPanel::otherReturn);
    EXPECT_EQ(qf::answerOfClosing({.defaultButtonTitle = "Yes"}), AlertPanel::defaultReturn);
}

struct StoredChoice : NamedCase {
    qf::Value value;
    bool suppresses;
};

class AlertSuppression : public testing::TestWithParam<StoredChoice> {};

TEST_P(AlertSuppression, IsAPreferenceThatIsTrueOrANumberExceptZero) {
    MemoryPreferences preferences;
    const qf::ScopedService<qf::Preferences> scope(preferences);
    preferences.setValue("hide", GetParam().value);
    EXPECT_EQ(qf::isSuppressed("hide"), GetParam().suppresses);
}

INSTANTIATE_TEST_SUITE_P(
    All, AlertSuppression,
    testing::Values(StoredChoice{{"None"}, {}, false}, StoredChoice{{"True"}, true, true},
                    StoredChoice{{"False"}, false, false}, StoredChoice{{"Two"}, 2, true},
                    StoredChoice{{"Zero"}, 0, false}, StoredChoice{{"Half"}, 0.5, true},
                    StoredChoice{{"RealZero"}, 0.0, false}, StoredChoice{{"Text"}, "no", false}),
    nameOfCase);
