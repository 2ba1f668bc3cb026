#include "platform/qt/RaiseOnRequest.h"

#include "platform/InstanceLock.h"

#include <QApplication>
#include <QFileSystemWatcher>
#include <QWidget>

namespace qf::qt {

namespace {

void raise(QWidget& window) {
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.raise();
    window.activateWindow();
}

void raiseWindows() {
    for (auto* window : QApplication::topLevelWidgets()) {
        if (window->isVisible()) {
            raise(*window);
        }
    }
    if (auto* modal = QApplication::activeModalWidget()) {
        raise(*modal);
    }
}

} // namespace

void raiseOnRequest(const InstanceLock& lock) {
    auto* watcher = new QFileSystemWatcher({QString::fromStdString(lock.path())}, qApp);
    QObject::connect(watcher, &QFileSystemWatcher::fileChanged, watcher, raiseWindows);
}

} // namespace qf::qt
