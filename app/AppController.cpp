#include "app/AppController.h"

#include "app/UninstallPlan.h"
#include "platform/Application.h"
#include "platform/Services.h"
#include "platform/Windows.h"
#include "platform/foundation/Thread.h"
#include "util/alert/QFAlert.h"

AppController::AppController(platform::Interface& interface, PlanObserver& observer)
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
    platform::detachNewThread([this] { beginUninstall(); });
}

void AppController::beginUninstall() {
    const bool removeShared = removeSharedCheck_.state() == platform::CheckBoxState::on;
    walkUninstallPlan(uninstallPlan(removeShared ? RemoveShared::yes : RemoveShared::no),
                      observer_);
    platform::service<platform::Application>().performOnMainThread([this] { endProgress(); },
                                                                   platform::Wait::untilDone);
}

void AppController::endProgress() {
    windowProgress_.orderOut();
    QFAlert::alertSheetWithMessageText("Uninstall complete",
                                       "Items have been placed in your Trash.", nullptr);
    platform::service<platform::Application>().terminate();
}

void AppController::cancel() {
    platform::service<platform::Application>().terminate();
}
