#include "tests/support/MainThread.h"

#include <fstream>
#include <string>

bool mainThreadSleeps() {
    std::ifstream file("/proc/self/stat");
    std::string status;
    std::getline(file, status);
    return status.substr(status.rfind(')') + 2, 1) == "S";
}
