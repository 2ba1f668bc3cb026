#pragma once

#include "platform/AlertPanel.h"
#include "platform/terminal/Interface.h"

#include <memory>

namespace platform::terminal {

/// An alert: its texts, and a question for its buttons. To give no answer is what closing an alert
/// is elsewhere: the alternate button, else the other one, else the default one. Where nobody is
/// asked the answer is the default button.
class AlertPanel final : public platform::AlertPanel {
public:
    AlertPanel(AlertDescription description, Application& application, Dialogue& dialogue,
               Manner manner);
    ~AlertPanel() override;
    AlertPanel(const AlertPanel&) = delete;
    AlertPanel& operator=(const AlertPanel&) = delete;
    AlertPanel(AlertPanel&&) = delete;
    AlertPanel& operator=(AlertPanel&&) = delete;

    void beginSheet(platform::Window* parent, std::function<void(int)> didEnd) override;
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

/// Makes alerts on a terminal. What it is given outlives it and them.
class AlertPanels final : public platform::AlertPanels {
public:
    AlertPanels(Application& application, Dialogue& dialogue, Manner manner)
        : application_(application), dialogue_(dialogue), manner_(manner) {}

    std::unique_ptr<platform::AlertPanel> create(const AlertDescription& description) override;

private:
    Application& application_;
    Dialogue& dialogue_;
    const Manner manner_;
};

} // namespace platform::terminal
