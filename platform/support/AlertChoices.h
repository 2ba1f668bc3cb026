#pragma once

#include "platform/AlertPanel.h"

#include <string>
#include <vector>

/// What a person may choose in an alert, whatever shows it.
namespace qf {

/// A button of an alert, and the answer that pressing it returns.
struct AlertButton {
    std::string title;                      ///< Never empty for the default button.
    int answer = AlertPanel::defaultReturn; ///< As passed by AlertPanel::beginSheet.
};

/// Returns the buttons of an alert: the default one, "OK" unless it has a title, then the alternate
/// and the other one if they exist. Any thread may call it.
std::vector<AlertButton> alertButtons(const AlertDescription& description);

/// Returns the answer of an alert that is closed instead of answered: the alternate button's
/// answer, else the other one's, else the default one's. Any thread may call it.
int answerOfClosing(const AlertDescription& description);

/// Returns whether the suppression preference says not to show the alert again: it is true, or a
/// number other than 0. Any thread may call it.
bool isSuppressed(const std::string& suppressionKey);

} // namespace qf
