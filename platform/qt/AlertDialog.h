#pragma once

#include <QDialog>

#include <functional>

class QBoxLayout;
class QLabel;
class QPushButton;
class QScrollArea;

namespace qf {
struct AlertDescription;
}

namespace qf::qt {

/// The window of an alert: the application's icon, the message, the smaller text, a checkbox if the
/// user may choose not to see it again, and the buttons with the default one last.
///
/// The Escape key and closing the window press the alternate button, or the other one if there is
/// no alternate, or the default one if it is alone. So does destroying the parent while the window
/// is on the screen.
class AlertDialog final : public QDialog {
public:
    explicit AlertDialog(const AlertDescription& description);
    ~AlertDialog() override;
    AlertDialog(const AlertDialog&) = delete;
    AlertDialog& operator=(const AlertDialog&) = delete;
    AlertDialog(AlertDialog&&) = delete;
    AlertDialog& operator=(AlertDialog&&) = delete;

    /// Shows the window, modal to `parent` unless that is null. `didEnd` is called once, when a
    /// button is pressed, after the window has gone.
    void begin(QWidget* parent, std::function<void(int)> didEnd);

    void reject() override;

private:
    QScrollArea* makeTexts(const AlertDescription& description);
    void addSuppressionCheckBox(QBoxLayout& column, const std::string& key);
    QBoxLayout* makeButtons(const AlertDescription& description);
    QPushButton* makeButton(const std::string& title, int answer);
    void fitTexts();
    void answer(int code) noexcept;

    QScrollArea* texts_ = nullptr;
    int answerOfClosing_;
    std::function<void(int)> didEnd_;
};

} // namespace qf::qt
