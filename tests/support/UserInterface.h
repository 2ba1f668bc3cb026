#pragma once

#include "platform/Services.h"
#include "platform/qt/AlertPanel.h"
#include "platform/qt/Application.h"
#include "tests/support/MemoryPreferences.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/TestClock.h"

#include <QDialog>
#include <QLabel>
#include <QPushButton>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

/// Installs the real user interface, and simulates its user.
class UserInterface : public ::testing::Test {
protected:
    UserInterface() { TestClock::install(); }
    ~UserInterface() override;

    /// Runs the event loop while `work` runs on its own thread, until that is done.
    void runWhile(const std::function<void()>& work);

    /// Runs the event loop while `work` runs on the main thread.
    void runOnMainThread(const std::function<void()>& work);

    qf::qt::Application application;
    qf::qt::AlertPanels panels;
    RecordingConsole console;
    MemoryPreferences preferences;

private:
    qf::ScopedService<qf::Application> applicationInPlace_{application};
    qf::ScopedService<qf::AlertPanels> panelsInPlace_{panels};
    qf::ScopedService<qf::Console> consoleInPlace_{console};
    qf::ScopedService<qf::Preferences> preferencesInPlace_{preferences};
};

/// Polls the screen, and does `action` once when a window of this title is on it.
void whenShown(const std::string& title, std::function<void(QWidget&)> action);

/// Returns the visible window of this title, or null.
QWidget* windowTitled(const std::string& title);

/// Returns a window's button of this title; the test fails and ends if there is none.
QPushButton& button(QWidget& window, const std::string& title);

/// Returns the titles of a window's buttons, from left to right.
std::vector<std::string> buttonTitles(const QWidget& window);

/// Returns the texts of a window's labels, from top to bottom, without invisible break
/// opportunities.
std::vector<std::string> labelTexts(const QWidget& window);

/// Presses a window's button with the mouse.
void press(QWidget& window, const std::string& title);

/// Returns a whenShown action that presses a button.
std::function<void(QWidget&)> pressing(const std::string& title);

/// Returns a whenShown action that presses a key.
std::function<void(QWidget&)> typing(Qt::Key key);
