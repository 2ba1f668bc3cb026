#pragma once

#include "platform/AlertPanel.h"

#include <string>
#include <vector>

/// What a person may choose in an alert, whatever shows it.
namespace platform {

/// A button of an alert, and what pressing it answers.
struct AlertButton {
    std::string title;                      ///< Never empty for the default button.
    int answer = AlertPanel::defaultReturn; ///< As AlertPanel::beginSheet hands it over.
};

/// The buttons of an alert: the default one, "OK" when nobody has named it, then the alternate and
/// the other one where there are any. Any thread may call it.
std::vector<AlertButton> alertButtons(const AlertDescription& description);

/// What closing an alert instead of pressing a button answers: the alternate button's answer, else
/// the other one's, else the default one's. Any thread may call it.
int answerOfClosing(const AlertDescription& description);

/// Whether a suppression preference says that the alert is not to be shown again: it is true, or a
/// number but 0. Any thread may call it.
bool isSuppressed(const std::string& suppressionKey);

} // namespace platform
