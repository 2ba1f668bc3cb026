#pragma once

#include "platform/AlertPanel.h"
#include "platform/terminal/Interface.h"

#include <memory>

namespace qf::terminal {

/// An alert on a terminal: its texts, and a question for its buttons. No answer means the same as
/// closing a window's alert: the alternate button, else the other one, else the default one. In the
/// silent manner the answer is the default button.
class AlertPanel final : public qf::AlertPanel {
public:
    AlertPanel(AlertDescription description, Application& application, Dialogue& dialogue,
               Manner manner);
    ~AlertPanel() override;
    AlertPanel(const AlertPanel&) = delete;
    AlertPanel& operator=(const AlertPanel&) = delete;
    AlertPanel(AlertPanel&&) = delete;
    AlertPanel& operator=(AlertPanel&&) = delete;

    void beginSheet(qf::Window* parent, std::function<void(int)> didEnd) override;
    bool isVisible() override;
    void orderOut() override;

private:
    struct Sheet;

    void askForSuppression(const std::string& key);
    void askForButton();

    const AlertDescription description_;
    Application& application_;
    Dialogue& dialogue_;
    const Manner manner_;
    std::shared_ptr<Sheet> sheet_;
};

/// Creates alerts on a terminal. The arguments must outlive it and the alerts.
class AlertPanels final : public qf::AlertPanels {
public:
    AlertPanels(Application& application, Dialogue& dialogue, Manner manner)
        : application_(application), dialogue_(dialogue), manner_(manner) {}

    std::unique_ptr<qf::AlertPanel> create(const AlertDescription& description) override;

private:
    Application& application_;
    Dialogue& dialogue_;
    const Manner manner_;
};

} // namespace qf::terminal
