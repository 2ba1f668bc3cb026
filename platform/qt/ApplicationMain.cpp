#include "platform/StartUp.h"

#include "platform/Services.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Path.h"
#include "platform/qt/AlertPanel.h"
#include "platform/qt/Application.h"
#include "platform/qt/InstanceLock.h"
#include "platform/qt/Interface.h"
#include "platform/qt/StartUpMessages.h"

#include <QApplication>
#include <QDir>
#include <QIcon>

#include <cstdlib>
#include <memory>

namespace platform {

namespace {

constexpr const char* mainWindowOutlet = "windowMain";
constexpr const char* iconFolder = ":/icon";

/// The application's icon in every size that its resources hold.
QIcon applicationIcon() {
    QIcon icon;
    const QDir folder(iconFolder);
    for (const auto& file : folder.entryList()) {
        icon.addFile(folder.filePath(file));
    }
    return icon;
}

/// Makes Qt's application, or ends the process when there is no display to run it on.
std::unique_ptr<QApplication> makeQtApplication(int& argc, char** argv) {
    QGuiApplication::setDesktopFileName(QCoreApplication::applicationName());
    auto application = std::make_unique<QApplication>(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setWindowIcon(applicationIcon());
    return application;
}

/// Puts the user interface behind its ports, for the rest of the process: threads may still call
/// them when the event loop has ended.
qt::Application& installUserInterface() {
    static auto* application = new qt::Application;
    static auto* panels = new qt::AlertPanels;
    install<Application>(*application);
    install<AlertPanels>(*panels);
    return *application;
}

} // namespace

int applicationMain(int argc, char** argv, const std::string& interfaceFile,
                    const std::function<void(Interface&)>& awake) {
    const auto name = path::lastComponent(argc > 0 ? argv[0] : "");
    QCoreApplication::setApplicationName(QString::fromStdString(name));
    const qt::InstanceLock lock(name);
    if (lock.isHeldByAnother()) {
        qt::reportStartUpFailure("it is already running");
        return EXIT_FAILURE;
    }
    auto messages = std::make_unique<qt::StartUpMessages>();
    const auto qtApplication = makeQtApplication(argc, argv);
    auto& application = installUserInterface();
    try {
        qt::Interface interface(QString::fromStdString(interfaceFile));
        auto& mainWindow = interface.window(mainWindowOutlet);
        application.setMainWindow(&mainWindow);
        awake(interface);
        messages.reset();
        mainWindow.makeKeyAndOrderFront();
        return application.run();
    } catch (const Exception& exception) {
        qt::reportStartUpFailure(exception.reason());
        application.end();
        return EXIT_FAILURE;
    }
}

} // namespace platform
