#include "tests/support/UserInterface.h"

#include <QApplication>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

namespace {

/// Returns the visible children of a kind in the order of `before`.
template <class Widget, class Before>
QList<Widget*> visibleChildren(const QWidget& window, Before before) {
    QList<Widget*> children;
    for (auto* child : window.findChildren<Widget*>()) {
        if (child->isVisible()) {
            children << child;
        }
    }
    std::sort(children.begin(), children.end(), [&](const Widget* left, const Widget* right) {
        return before(left->mapTo(&window, QPoint()), right->mapTo(&window, QPoint()));
    });
    return children;
}

} // namespace

UserInterface::~UserInterface() {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void UserInterface::runWhile(const std::function<void()>& work) {
    std::thread worker([&] {
        work();
        application.performOnMainThread([this] { application.terminate(); }, qf::Wait::no);
    });
    EXPECT_EQ(application.run(), 0);
    worker.join();
}

void UserInterface::runOnMainThread(const std::function<void()>& work) {
    application.performOnMainThread(
        [&] {
            work();
            application.terminate();
        },
        qf::Wait::no);
    EXPECT_EQ(application.run(), 0);
}

QWidget* windowTitled(const std::string& title) {
    for (auto* window : QApplication::topLevelWidgets()) {
        if (window->isVisible() && window->windowTitle().toStdString() == title) {
            return window;
        }
    }
    return nullptr;
}

void whenShown(const std::string& title, std::function<void(QWidget&)> action) {
    auto* look = new QTimer(QCoreApplication::instance());
    QObject::connect(look, &QTimer::timeout, look, [look, title, action = std::move(action)] {
        if (auto* window = windowTitled(title)) {
            look->stop();
            look->deleteLater();
            action(*window);
        }
    });
    look->start(1);
}

QPushButton& button(QWidget& window, const std::string& title) {
    for (auto* candidate : window.findChildren<QPushButton*>()) {
        if (candidate->text().toStdString() == title) {
            return *candidate;
        }
    }
    throw std::runtime_error("there is no button " + title);
}

std::vector<std::string> buttonTitles(const QWidget& window) {
    std::vector<std::string> titles;
    const auto leftToRight = [](QPoint left, QPoint right) { return left.x() < right.x(); };
    for (const auto* child : visibleChildren<QPushButton>(window, leftToRight)) {
        titles.push_back(child->text().toStdString());
    }
    return titles;
}

std::vector<std::string> labelTexts(const QWidget& window) {
    std::vector<std::string> texts;
    const auto topToBottom = [](QPoint left, QPoint right) { return left.y() < right.y(); };
    for (const auto* child : visibleChildren<QLabel>(window, topToBottom)) {
        if (!child->text().isEmpty()) {
            texts.push_back(child->text().remove(QChar(0x200B)).toStdString());
        }
    }
    return texts;
}

void press(QWidget& window, const std::string& title) {
    QTest::mouseClick(&button(window, title), Qt::LeftButton);
}

std::function<void(QWidget&)> pressing(const std::string& title) {
    return [title](QWidget& window) { press(window, title); };
}

std::function<void(QWidget&)> typing(Qt::Key key) {
    return [key](QWidget& window) {
        auto* focused = window.focusWidget();
        QTest::keyClick(focused != nullptr ? focused : &window, key);
    };
}
