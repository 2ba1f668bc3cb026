#include "qf/platform/StartUp.h"
#include "qf/util/files/QFFileManager.h"
#include "qf/util/paths/QFLocalPaths.h"

#include <fstream>
#include <iostream>

namespace {

int tidyUp() {
    const auto file = QFLocalPaths::userDirectory() + "/draft.txt";
    std::ofstream(file) << "not needed any more\n";
    std::cout << "there: " << QFFileManager::fileExistsAtPath(file) << '\n';

    // Into the Trash, from where the desktop can restore it. Without ShouldAuth::no, an item that
    // the user may not move would be moved with an administrator's right, after a question for the
    // password.
    std::cout << "moved: " << QFFileManager::trashFile(file, qf::ShouldAuth::no) << '\n';
    std::cout << "there: " << QFFileManager::fileExistsAtPath(file) << '\n';
    std::cout << "in the Trash: "
              << QFFileManager::fileExistsAtPath(QFLocalPaths::trashDirectory() + "/draft.txt")
              << '\n';
    return 0;
}

} // namespace

int main() {
    qf::installServices({"com.example.Files", "1.0"});
    return qf::consoleMain(tidyUp);
}
