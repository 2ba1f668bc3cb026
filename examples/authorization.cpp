#include "qf/platform/StartUp.h"
#include "qf/util/auth/QFAuthorization.h"

#include <iostream>

namespace {

const char* yesOrNo(bool answer) {
    return answer ? "yes" : "no";
}

/// Starts to move an item that the user may not move into the Trash. The first operation of this
/// kind asks for an administrator's password; the right is then held until authEnd(), which does
/// not stop a move that has been started.
int trashAsAdministrator(const std::string& path) {
    auto& authorization = QFAuthorization::sharedController();
    const bool isStarted = authorization.authTrashFile(path);
    std::cout << "authorized: " << yesOrNo(authorization.isAuthorized()) << '\n'
              << "started: " << yesOrNo(isStarted) << '\n';
    authorization.authEnd();
    return isStarted ? 0 : 1;
}

int explain() {
    auto& authorization = QFAuthorization::sharedController();
    std::cout << "may ask: " << yesOrNo(authorization.canAuthorize()) << '\n'
              << "authorized: " << yesOrNo(authorization.isAuthorized()) << '\n';
    // Refused without asking anybody.
    std::cout << "a system folder removed: "
              << yesOrNo(authorization.authRemoveFile("/System/Library")) << '\n';
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    qf::installServices({"com.example.Authorization", "1.0"});
    const std::string path = argc > 1 ? argv[1] : "";
    return qf::consoleMain(
        [path] { return path.empty() ? explain() : trashAsAdministrator(path); });
}
