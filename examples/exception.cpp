#include "qf/platform/StartUp.h"
#include "qf/util/log/QFException.h"
#include "qf/util/log/QFLog.h"

#include <iostream>

namespace {

void playTrack(int track) {
    throw qf::Exception("NSRangeException", "there is no track " + std::to_string(track));
}

int play() {
    // From here on an uncaught exception is logged before it ends the process.
    QFLog::createNewLog("player");
    try {
        playTrack(13);
    } catch (const qf::Exception& exception) {
        // Logs and prints it.
        QFException::logException(exception, "playTrack");
        std::cout << "took too long: " << (QFException::didTimeout(exception) ? "yes" : "no")
                  << '\n';
    }
    return 0;
}

} // namespace

int main() {
    qf::installServices({"com.example.Player", "1.0"});
    return qf::consoleMain(play);
}
