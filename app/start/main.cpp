#include "app/AppController.h"
#include "app/MainMenu.h"
#include "app/PlanInventory.h"
#include "app/start/ApplicationMain.h"
#include "platform/StartUp.h"

#include <memory>

int main(int argc, char* argv[]) {
    qf::installServices({.identifier = "com.quillfen.KelvaneUninstaller",
                         .version = QF_VERSION,
                         .directory = QF_OWN_DIRECTORY,
                         .helper = QF_OWN_HELPER,
                         .asksOnce = true});
    std::unique_ptr<AppController> controller;
    // A list that is being made when the program ends still uses it.
    static PlanInventory inventory;
    return start::applicationMain(argc, argv, mainMenu(), inventory,
                                  [&controller](qf::Interface& interface, PlanObserver& observer) {
                                      controller =
                                          std::make_unique<AppController>(interface, observer);
                                      controller->awakeFromNib();
                                  });
}
