#pragma once

#include "platform/AlertPanel.h"

#include <QPointer>

namespace platform::qt {

class AlertDialog;

/// An alert in a window of Qt's. Its texts are shown as they stand and are never markup.
class AlertPanel final : public platform::AlertPanel {
public:
    explicit AlertPanel(const AlertDescription& description);
    ~AlertPanel() override;
    AlertPanel(const AlertPanel&) = delete;
    AlertPanel& operator=(const AlertPanel&) = delete;
    AlertPanel(AlertPanel&&) = delete;
    AlertPanel& operator=(AlertPanel&&) = delete;

    void beginSheet(platform::Window* parent, std::function<void(int)> didEnd) override;
    bool isVisible() override;
    void orderOut() override;

private:
    /// Gone early when the window that the alert is a sheet of goes.
    QPointer<AlertDialog> dialog_;
};

class AlertPanels final : public platform::AlertPanels {
public:
    std::unique_ptr<platform::AlertPanel> create(const AlertDescription& description) override;
};

} // namespace platform::qt
