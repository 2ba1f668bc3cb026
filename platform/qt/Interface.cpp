#include "platform/qt/Interface.h"

#include "platform/foundation/Exception.h"
#include "platform/qt/Accessibility.h"
#include "platform/qt/Appearance.h"

#include <QAbstractButton>
#include <QBuffer>
#include <QCheckBox>
#include <QFile>
#include <QLabel>
#include <QProgressBar>
#include <QUiLoader>

#include <utility>

namespace qf::qt {

namespace {

constexpr const char* actionProperty = "action";
constexpr const char* optionalProperty = "optional";
constexpr const char* closeActionProperty = "closeAction";
constexpr const char* textStyleProperty = "textStyle";

struct TextStyle {
    const char* name;
    void (*apply)(QLabel&);
};

constexpr TextStyle textStyles[] = {
    {"title", styleAsTitle},
    {"note", styleAsNote},
    {"checkBoxNote", styleAsCheckBoxNote},
    {"applicationIcon", styleAsApplicationIcon},
};

std::string textProperty(const QObject& object, const char* name) {
    return object.property(name).toString().toStdString();
}

[[noreturn]] void throwUnreadable(const std::string& name, const QString& why) {
    throw Exception(exception_name::interfaceUnreadable, "cannot load the interface file " + name +
                                                             ": " + why.simplified().toStdString());
}

std::unique_ptr<QWidget> load(const InterfaceFile& file) {
    auto text = QByteArray::fromStdString(file.text);
    QBuffer buffer(&text);
    buffer.open(QIODevice::ReadOnly);
    QUiLoader loader;
    std::unique_ptr<QWidget> container(loader.load(&buffer));
    if (!container) {
        throwUnreadable(file.name, loader.errorString());
    }
    return container;
}

void styleLabels(const QWidget& window) {
    for (auto* label : window.findChildren<QLabel*>()) {
        const auto wanted = textProperty(*label, textStyleProperty);
        for (const auto& style : textStyles) {
            if (wanted == style.name) {
                style.apply(*label);
            }
        }
    }
}

bool isOptional(const QAbstractButton& button) {
    return textProperty(button, optionalProperty) == "true";
}

void showOptionalButtons(const QWidget& window, const std::string& action) {
    for (auto* button : window.findChildren<QAbstractButton*>()) {
        if (isOptional(*button) && textProperty(*button, actionProperty) == action) {
            button->show();
        }
    }
}

/// Returns the object of this kind and name, which is made at the first request.
template <class Object, class Widget>
Object& made(std::map<std::string, std::unique_ptr<Object>>& objects, const std::string& name,
             Widget& widget) {
    auto& object = objects[name];
    if (!object) {
        object = std::make_unique<Object>(widget);
    }
    return *object;
}

[[noreturn]] void throwOutletMissing(const std::string& name) {
    throw Exception(exception_name::outletMissing,
                    "the interface file has no outlet \"" + name + "\"");
}

} // namespace

InterfaceFile readInterfaceFile(const std::string& name) {
    QFile file(QString::fromStdString(name));
    if (!file.open(QIODevice::ReadOnly)) {
        throwUnreadable(name, file.errorString());
    }
    return {.name = name, .text = file.readAll().toStdString()};
}

Interface::Interface(const InterfaceFile& file) {
    describeToScreenReaders();
    const auto container = load(file);
    const auto windows = container->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly);
    for (auto* window : windows) {
        window->setParent(nullptr);
        adopt(std::unique_ptr<QWidget>(window));
    }
}

Interface::~Interface() = default;

void Interface::adopt(std::unique_ptr<QWidget> window) {
    const auto closeAction = textProperty(*window, closeActionProperty);
    std::function<void()> close;
    Qt::WindowFlags flags = Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                            Qt::WindowSystemMenuHint | Qt::WindowMinimizeButtonHint;
    if (!closeAction.empty()) {
        close = connected(*window, closeAction);
        flags |= Qt::WindowCloseButtonHint;
    }
    window->setWindowFlags(flags);
    styleLabels(*window);
    for (auto* box : window->findChildren<QCheckBox*>()) {
        outline(*box);
    }
    connectButtons(*window);
    windows_[window->objectName().toStdString()] =
        std::make_unique<Window>(*window, std::move(close));
    widgets_.push_back(std::move(window));
}

void Interface::connectButtons(QWidget& window) {
    for (auto* button : window.findChildren<QAbstractButton*>()) {
        const auto action = textProperty(*button, actionProperty);
        if (!action.empty()) {
            QObject::connect(button, &QAbstractButton::clicked, button, connected(window, action));
        }
        button->setHidden(isOptional(*button));
    }
}

/// Returns a function that performs an action of a window, or does nothing while the window is
/// hidden: pending input may still reach it.
std::function<void()> Interface::connected(const QWidget& window, const std::string& action) {
    actions_.try_emplace(action);
    return [this, &window, action] {
        if (window.isVisible()) {
            perform(action);
        }
    };
}

void Interface::perform(const std::string& action) noexcept {
    // A copy, since the action may be connected again while it runs.
    if (const auto performer = actions_.at(action)) {
        performer();
    }
}

Window& Interface::window(const std::string& name) {
    const auto found = windows_.find(name);
    if (found == windows_.end()) {
        throwOutletMissing(name);
    }
    return *found->second;
}

template <class Widget>
Widget& Interface::outlet(const std::string& name) const {
    for (const auto& window : widgets_) {
        if (auto* widget = window->findChild<Widget*>(QString::fromStdString(name))) {
            return *widget;
        }
    }
    throwOutletMissing(name);
}

std::vector<qf::Window*> Interface::windowsFrom(qf::Window& first) const {
    std::vector<qf::Window*> windows{&first};
    for (const auto& [name, window] : windows_) {
        if (window.get() != &first) {
            windows.push_back(window.get());
        }
    }
    return windows;
}

CheckBox& Interface::checkBox(const std::string& name) {
    return made(checkBoxes_, name, outlet<QCheckBox>(name));
}

ProgressIndicator& Interface::progressIndicator(const std::string& name) {
    return made(progressIndicators_, name, outlet<QProgressBar>(name));
}

Label& Interface::label(const std::string& name) {
    return made(labels_, name, outlet<QLabel>(name));
}

void Interface::setAction(const std::string& name, std::function<void()> perform) {
    const auto found = actions_.find(name);
    if (found == actions_.end()) {
        throw Exception(exception_name::actionMissing,
                        "the interface file connects nothing with the action \"" + name + "\"");
    }
    found->second = std::move(perform);
    for (const auto& window : widgets_) {
        showOptionalButtons(*window, name);
    }
}

} // namespace qf::qt
