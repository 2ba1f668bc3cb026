#include "platform/support/AlertChoices.h"

#include "platform/Services.h"
#include "tests/support/MemoryPreferences.h"

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

TEST(AlertSuppression, IsAPreferenceThatIsTrueOrANumberButZero) {
    MemoryPreferences preferences;
    const platform::ScopedService<platform::Preferences> scope(preferences);
    EXPECT_FALSE(platform::isSuppressed("hide"));
    for (const auto& suppressing :
         {platform::Value(true), platform::Value(2), platform::Value(0.5)}) {
        preferences.setValue("hide", suppressing);
        EXPECT_TRUE(platform::isSuppressed("hide"));
    }
    for (const auto& showing : {platform::Value(false), platform::Value(0), platform::Value(0.0),
                                platform::Value("no")}) {
        preferences.setValue("hide", showing);
        EXPECT_FALSE(platform::isSuppressed("hide"));
    }
}
