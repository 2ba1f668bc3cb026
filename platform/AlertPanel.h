#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace platform {

class Window;

/// What an alert shows. A missing default title is the platform's standard one; a missing
/// alternate or other title means that there is no such button.
struct AlertDescription {
    std::string messageText;
    std::string informativeText;
    std::optional<std::string> defaultButtonTitle;
    std::optional<std::string> alternateButtonTitle;
    std::optional<std::string> otherButtonTitle;
    /// The preference that a checkbox for not showing the alert again reads and writes, if any.
    std::optional<std::string> suppressionKey;
};

/// One alert on the screen. Main thread only.
class AlertPanel {
public:
    /// What the buttons answer.
    static constexpr int defaultReturn = 1;
    static constexpr int alternateReturn = 0;
    static constexpr int otherReturn = -1;

    virtual ~AlertPanel() = default;

    /// Shows the alert and returns at once: as a sheet on `parent`, or free-standing when there is
    /// none. `didEnd` is called once, on the main thread, with the answer.
    virtual void beginSheet(Window* parent, std::function<void(int)> didEnd) = 0;

    virtual bool isVisible() = 0;

    /// Hides the alert. Hiding is no answer.
    virtual void orderOut() = 0;
};

/// Makes alerts. Main thread only.
class AlertPanels {
public:
    static constexpr const char* portName = "AlertPanels";
    virtual ~AlertPanels() = default;

    virtual std::unique_ptr<AlertPanel> create(const AlertDescription& description) = 0;
};

} // namespace platform
