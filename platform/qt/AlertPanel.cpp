#include "platform/qt/AlertPanel.h"

#include "platform/Application.h"
#include "platform/Services.h"
#include "platform/qt/AlertDialog.h"
#include "platform/qt/Display.h"
#include "platform/qt/Placement.h"
#include "platform/qt/Windows.h"

#include <utility>

namespace qf::qt {

namespace {

/// An alert on a display that has gone, answered with its default button.
class UnseenAlert final : public qf::AlertPanel {
public:
    void beginSheet(qf::Window* /*parent*/, std::function<void(int)> didEnd) override {
        service<Application>().performOnMainThread(
            [didEnd = std::move(didEnd)] { didEnd(defaultReturn); }, Wait::no);
    }
    bool isVisible() override { return false; }
    void orderOut() override {}
};

} // namespace

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

void AlertPanel::beginSheet(qf::Window* parent, std::function<void(int)> didEnd) {
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

std::unique_ptr<qf::AlertPanel> AlertPanels::create(const AlertDescription& description) {
    if (!hasDisplay()) {
        return std::make_unique<UnseenAlert>();
    }
    return std::make_unique<AlertPanel>(description);
}

} // namespace qf::qt
