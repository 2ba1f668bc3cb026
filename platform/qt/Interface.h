#pragma once

#include "platform/Windows.h"
#include "platform/qt/Windows.h"
#include "platform/support/InterfaceFile.h"

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

class QAbstractButton;
class QWidget;

namespace qf::qt {

/// Returns the content of a file or a resource. Throws qf::Exception "QFInterfaceUnreadable",
/// whose reason names the file and the cause, if it cannot be read.
InterfaceFile readInterfaceFile(const std::string& name);

/// The windows of a Qt Designer file.
///
/// The file's outermost widget is a container, which is never shown; each widget directly in it is
/// a window. Dynamic properties, all of them text, express what Designer has no property for:
/// - "action" of a button: the action that pressing it performs;
/// - "optional" of a button: if "true", the button is hidden until its action is set;
/// - "closeAction" of a window: the action that the Escape key and closing the window perform. A
///   window without one cannot be closed by the user;
/// - "textStyle" of a label: "title", "note" or "checkBoxNote"; "applicationIcon" makes it show
///   the application's icon.
class Interface final : public qf::Interface {
public:
    /// Reads the file. Throws qf::Exception "QFInterfaceUnreadable", whose reason names the
    /// file and the cause, if it is not an interface file.
    explicit Interface(const InterfaceFile& file);
    ~Interface() override;
    Interface(const Interface&) = delete;
    Interface& operator=(const Interface&) = delete;
    Interface(Interface&&) = delete;
    Interface& operator=(Interface&&) = delete;

    Window& window(const std::string& name) override;
    CheckBox& checkBox(const std::string& name) override;
    ProgressIndicator& progressIndicator(const std::string& name) override;
    Label& label(const std::string& name) override;
    void setAction(const std::string& name, std::function<void()> perform) override;

    /// Returns all windows, this one first.
    std::vector<qf::Window*> windowsFrom(qf::Window& first) const;

private:
    void adopt(std::unique_ptr<QWidget> window);
    void connectButtons(QWidget& window);
    std::function<void()> connected(const QWidget& window, const std::string& action);
    void perform(const std::string& action) noexcept;
    template <class Widget>
    Widget& outlet(const std::string& name) const;

    std::vector<std::unique_ptr<QWidget>> widgets_;
    std::map<std::string, std::unique_ptr<Window>> windows_;
    std::map<std::string, std::unique_ptr<CheckBox>> checkBoxes_;
    std::map<std::string, std::unique_ptr<ProgressIndicator>> progressIndicators_;
    std::map<std::string, std::unique_ptr<Label>> labels_;
    std::map<std::string, std::function<void()>> actions_;
};

} // namespace qf::qt
