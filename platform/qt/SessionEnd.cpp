#include "platform/qt/SessionEnd.h"

#include <QGuiApplication>
#include <QSessionManager>

#include <utility>

namespace qf::qt {

void holdSessionWhile(std::function<bool()> isBusy) {
    QObject::connect(qGuiApp, &QGuiApplication::commitDataRequest, qGuiApp,
                     [isBusy = std::move(isBusy)](QSessionManager& manager) {
                         manager.setRestartHint(QSessionManager::RestartNever);
                         if (isBusy() && manager.allowsInteraction()) {
                             manager.cancel();
                         }
                     });
}

} // namespace qf::qt
