#include "tests/support/MainThread.h"

#include <unistd.h>

#include <fstream>
#include <string>

bool mainThreadSleeps() {
    // Not /proc/self/stat, whose state qemu makes up.
    std::ifstream file("/proc/self/task/" + std::to_string(::getpid()) + "/stat");
    std::string status;
    std::getline(file, status);
    return status.substr(status.rfind(')') + 2, 1) == "S";
}
