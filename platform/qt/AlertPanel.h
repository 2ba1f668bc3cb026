#pragma once

#include "platform/AlertPanel.h"

#include <QPointer>

namespace qf::qt {

class AlertDialog;

/// An alert in a Qt window. Its texts are shown verbatim, never as markup.
class AlertPanel final : public qf::AlertPanel {
public:
    explicit AlertPanel(const AlertDescription& description);
    ~AlertPanel() override;
    AlertPanel(const AlertPanel&) = delete;
    AlertPanel& operator=(const AlertPanel&) = delete;
    AlertPanel(AlertPanel&&) = delete;
    AlertPanel& operator=(AlertPanel&&) = delete;

    void beginSheet(qf::Window* parent, std::function<void(int)> didEnd) override;
    bool isVisible() override;
    void orderOut() override;

private:
    /// Becomes null early if the sheet's parent window is destroyed.
    QPointer<AlertDialog> dialog_;
};

/// Creates alerts. When the display has gone they are answered with their default button.
class AlertPanels final : public qf::AlertPanels {
public:
    std::unique_ptr<qf::AlertPanel> create(const AlertDescription& description) override;
};

} // namespace qf::qt
