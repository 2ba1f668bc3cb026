#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace qf {

class Window;

/// The content of an alert.
struct AlertDescription {
    /// The message, and the text that explains it; either may be empty.
    std::string messageText;
    std::string informativeText;
    /// A missing or empty default title means the platform's standard one; a missing alternate or
    /// other title means that the alert has no such button.
    std::optional<std::string> defaultButtonTitle;
    std::optional<std::string> alternateButtonTitle;
    std::optional<std::string> otherButtonTitle;
    /// The preference that a checkbox for not showing the alert again reads and writes, if any.
    std::optional<std::string> suppressionKey;
};

/// One alert on the screen. Main thread only.
class AlertPanel {
public:
    /// The answers of the buttons.
    static constexpr int defaultReturn = 1;
    static constexpr int alternateReturn = 0;
    static constexpr int otherReturn = -1;

    virtual ~AlertPanel() = default;

    /// Shows the alert and returns at once: as a sheet on `parent`, or free-standing when `parent`
    /// is null. `didEnd` is called once, on the main thread, with the answer.
    virtual void beginSheet(Window* parent, std::function<void(int)> didEnd) = 0;

    /// Returns whether the alert is on the screen.
    virtual bool isVisible() = 0;

    /// Hides the alert, which does not count as an answer.
    virtual void orderOut() = 0;
};

/// Creates alerts. Main thread only.
class AlertPanels {
public:
    static constexpr const char* portName = "AlertPanels";
    virtual ~AlertPanels() = default;

    /// Returns an alert that is not shown yet; never null.
    virtual std::unique_ptr<AlertPanel> create(const AlertDescription& description) = 0;
};

} // namespace qf
