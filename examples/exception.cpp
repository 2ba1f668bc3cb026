#include "platform/StartUp.h"
#include "util/log/QFException.h"
#include "util/log/QFLog.h"

#include <iostream>

namespace {

void playTrack(int track) {
    throw platform::Exception("NSRangeException", "there is no track " + std::to_string(track));
}

int play() {
    // From here on an uncaught exception is logged before it ends the process.
    QFLog::createNewLog("player");
    try {
        playTrack(13);
    } catch (const platform::Exception& exception) {
        // Logs and prints it.
        QFException::logException(exception, "playTrack");
        std::cout << "took too long: " << (QFException::didTimeout(exception) ? "yes" : "no")
                  << '\n';
    }
    return 0;
}

} // namespace

int main() {
    platform::installServices({"com.example.Player", "1.0"});
    return platform::consoleMain(play);
}
