#include "qf/platform/StartUp.h"
#include "qf/util/log/QFLog.h"

#include <iostream>

namespace {

int play() {
    QFLog::createNewLog("player");

    QFLog::appendLog("Playing %@, track %d of %d", "overture.wav", 3, 12);
    QFLog::fastAppendLog("Never waits, so it may be called where audio is played");
    // Prints every "%" doubled and leaves out every "%@": for plain sentences only.
    QFLog::appendLogAndPrint("In the log and on standard output");
    // Text from outside is an argument, never the format.
    const std::string title = "100%d";
    QFLog::appendLog("Title: %@", title);

    QFLog::finishWriting();
    for (const auto& file : QFLog::availableLogs()) {
        std::cout << file << '\n';
    }
    return 0;
}

} // namespace

int main() {
    qf::installServices({"com.example.Player", "1.0"});
    // The log is written to its end when the application terminates.
    return qf::consoleMain(play);
}
