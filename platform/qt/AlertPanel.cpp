#include "platform/qt/AlertPanel.h"

#include "platform/qt/AlertDialog.h"
#include "platform/qt/Placement.h"
#include "platform/qt/Windows.h"

#include <utility>

namespace platform::qt {

AlertPanel::AlertPanel(const AlertDescription& description)
    : dialog_(new AlertDialog(description)) {
}

AlertPanel::~AlertPanel() {
    if (dialog_) {
        orderOut();
        // This may be called from one of the dialog's own buttons.
        dialog_->deleteLater();
    }
}

void AlertPanel::beginSheet(platform::Window* parent, std::function<void(int)> didEnd) {
    auto* window = dynamic_cast<Window*>(parent);
    if (dialog_) {
        dialog_->begin(window != nullptr ? &window->widget() : nullptr, std::move(didEnd));
    }
}

bool AlertPanel::isVisible() {
    return dialog_ && dialog_->isVisible();
}

void AlertPanel::orderOut() {
    if (dialog_) {
        takeAway(*dialog_);
    }
}

std::unique_ptr<platform::AlertPanel> AlertPanels::create(const AlertDescription& description) {
    return std::make_unique<AlertPanel>(description);
}

} // namespace platform::qt
