#include "app/AppController.h"

#include "app/UninstallPlan.h"
#include "platform/Application.h"
#include "platform/Services.h"
#include "platform/Windows.h"
#include "platform/foundation/Thread.h"
#include "util/alert/QFAlert.h"

AppController::AppController(qf::Interface& interface, PlanObserver& observer)
    : windowMain_(interface.window("windowMain")),
      removeSharedCheck_(interface.checkBox("removeSharedCheck")),
      windowProgress_(interface.window("windowProgress")),
      progressBar_(interface.progressIndicator("progressBar")), observer_(observer) {
    interface.setAction("uninstall:", [this] { uninstall(); });
    interface.setAction("cancel:", [this] { cancel(); });
}

void AppController::uninstall() {
    progressBar_.setUsesThreadedAnimation(true);
    progressBar_.startAnimation();
    windowProgress_.makeKeyAndOrderFront();
    windowMain_.orderOut();
    try {
        qf::detachNewThread([this] { beginUninstall(); });
    } catch (const qf::NoThreadLeft&) {
        beginUninstall(); // The window does not move, but the run goes to its end.
    }
}

void AppController::beginUninstall() {
    const bool removeShared = removeSharedCheck_.state() == qf::CheckBoxState::on;
    walkUninstallPlan(uninstallPlan(removeShared ? RemoveShared::yes : RemoveShared::no),
                      observer_);
    qf::service<qf::Application>().performOnMainThread([this] { endProgress(); },
                                                       qf::Wait::untilDone);
}

void AppController::endProgress() {
    windowProgress_.orderOut();
    QFAlert::alertSheetWithMessageText("Uninstall complete",
                                       "Items have been placed in your Trash.", nullptr);
    qf::service<qf::Application>().terminate();
}

void AppController::cancel() {
    qf::service<qf::Application>().terminate();
}
