#include "app/AppController.h"
#include "app/PlanInventory.h"
#include "app/start/ApplicationMain.h"
#include "platform/StartUp.h"

#include <memory>

int main(int argc, char* argv[]) {
    platform::installServices({"com.quillfen.KelvaneUninstaller", QF_VERSION});
    std::unique_ptr<AppController> controller;
    PlanInventory inventory;
    return start::applicationMain(
        argc, argv, ":/MainMenu.ui", inventory,
        [&controller](platform::Interface& interface, PlanObserver& observer) {
            controller = std::make_unique<AppController>(interface, observer);
            controller->awakeFromNib();
        });
}
