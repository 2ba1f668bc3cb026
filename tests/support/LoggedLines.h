#pragma once

#include "tests/support/RecordingLogFile.h"
#include "util/log/QFLog.h"

#include <memory>
#include <string>
#include <vector>

/// The entries of the program's log, without their dates, since the last call. The first call has
/// them recorded, so a test program calls it before what it looks at.
inline std::vector<std::string> loggedLines() {
    static const auto file = [] {
        auto recording = std::make_shared<RecordingLogFile>();
        QFLog::sharedController().setFileHandle(recording);
        return recording;
    }();
    QFLog::finishWriting();
    return file->take();
}
