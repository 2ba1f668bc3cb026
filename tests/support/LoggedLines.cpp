#include "tests/support/LoggedLines.h"

#include "tests/support/RecordingLogFile.h"
#include "util/log/QFLog.h"

#include <memory>

std::vector<std::string> loggedLines() {
    static const auto file = [] {
        auto recording = std::make_shared<RecordingLogFile>();
        QFLog::sharedController().setFileHandle(recording);
        return recording;
    }();
    QFLog::finishWriting();
    return file->take();
}
