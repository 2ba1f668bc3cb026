#include "platform/qt/WindowedMain.h"

#include "platform/InstanceLock.h"
#include "platform/Services.h"
#include "platform/StartUp.h"
#include "platform/foundation/Exception.h"
#include "platform/qt/AlertPanel.h"
#include "platform/qt/Application.h"
#include "platform/qt/Display.h"
#include "platform/qt/Interface.h"
#include "platform/qt/Language.h"
#include "platform/qt/Scale.h"
#include "platform/qt/StartUpMessages.h"
#include "platform/support/ApplicationName.h"

#include <QApplication>
#include <QDir>
#include <QIcon>
#include <QLocale>

#include <cstdlib>
#include <memory>

namespace qf::qt {

namespace {

constexpr const char* mainWindowOutlet = "windowMain";
constexpr const char* iconDirectory = ":/icon";

/// Returns the application's icon in every size that its resources hold.
QIcon applicationIcon() {
    QIcon icon;
    const QDir directory(iconDirectory);
    for (const auto& file : directory.entryList()) {
        icon.addFile(directory.filePath(file));
    }
    return icon;
}

/// Makes the QApplication, or ends the process if there is no display. Qt takes the scale of its
/// windows from the environment, and only while a QApplication is made.
std::unique_ptr<QApplication> makeQtApplication(int& argc, char** argv) {
    const auto name = QString::fromStdString(applicationName());
    QCoreApplication::setApplicationName(name);
    QGuiApplication::setDesktopFileName(name);
    auto application = std::make_unique<QApplication>(argc, argv);
    if (const double scale = scaleThatFits(); scale < 1) {
        application.reset();
        scaleWindows(scale);
        application = std::make_unique<QApplication>(argc, argv);
    }
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setWindowIcon(applicationIcon());
    return application;
}

/// The user interface, for the rest of the process: threads may still call it when the event loop
/// has ended.
struct UserInterface {
    Language language{QLocale::system().uiLanguages()};
    Application application;
    AlertPanels panels;

    UserInterface() {
        install<qf::Language>(language);
        install<qf::Application>(application);
        install<qf::AlertPanels>(panels);
    }
};

UserInterface& userInterface() {
    static auto* made = new UserInterface;
    return *made;
}

} // namespace

int windowedMain(int argc, char** argv, const InterfaceFile& interfaceFile,
                 const std::function<void(qf::Interface&)>& awake,
                 const std::function<int()>& finished, const WithoutDisplay& withoutDisplay) {
    auto messages = std::make_unique<StartUpMessages>(withoutDisplay);
    const auto qtApplication = makeQtApplication(argc, argv);
    auto& application = userInterface().application;
    try {
        Interface interface(interfaceFile);
        auto& mainWindow = interface.window(mainWindowOutlet);
        application.setWindows(interface.windowsFrom(mainWindow));
        awake(interface);
        messages.reset();
        application.setExitStatus(finished);
        if (application.mainWindow() == nullptr) {
            mainWindow.makeKeyAndOrderFront();
        }
        application.run();
        return finished();
    } catch (const Exception&) {
        application.end();
        throw;
    }
}

bool outliveDisplay() {
    loseDisplay();
    return userInterface().application.runWithoutEventLoop();
}

} // namespace qf::qt

namespace qf {

namespace {

int runWindows(int argc, char** argv, const std::string& interfaceFile,
               const std::function<void(Interface&)>& awake) {
    const InstanceLock lock(applicationName());
    if (lock.isHeldByAnother()) {
        throw Exception(exception_name::alreadyRunning, "it is already running");
    }
    return qt::windowedMain(
        argc, argv, qt::readInterfaceFile(interfaceFile), awake, [] { return EXIT_SUCCESS; },
        [](const std::string& reason) { qt::reportStartUpFailure("no display: " + reason); });
}

} // namespace

int windowedMain(int argc, char** argv, const std::string& interfaceFile,
                 const std::function<void(Interface&)>& awake) {
    nameApplication(argv);
    try {
        return runWindows(argc, argv, interfaceFile, awake);
    } catch (const Exception& exception) {
        qt::reportStartUpFailure(exception.reason());
        return EXIT_FAILURE;
    }
}

} // namespace qf
