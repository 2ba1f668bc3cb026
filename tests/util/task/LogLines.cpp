#include "tests/util/task/LogLines.h"

#include "platform/Services.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/RecordingLogFile.h"
#include "util/log/QFLog.h"

#include <cstddef>
#include <memory>
#include <utility>

namespace {

/// What the log writes and prints. It is never destroyed, as the log is not.
struct Recording {
    std::shared_ptr<RecordingLogFile> file = std::make_shared<RecordingLogFile>();
    RecordingConsole console;
    std::vector<std::string> lines;
    std::size_t forgottenText = 0;

    Recording() {
        QFLog::sharedController().setFileHandle(file);
        qf::install<qf::Console>(console);
    }
};

Recording& recording() {
    static auto& only = *new Recording;
    return only;
}

} // namespace

std::vector<std::string> loggedLines() {
    QFLog::finishWriting();
    return linesWrittenByNow();
}

std::vector<std::string> linesWrittenByNow() {
    auto& lines = recording().lines;
    for (auto& line : recording().file->take()) {
        lines.push_back(std::move(line));
    }
    return lines;
}

std::string printed() {
    return recording().console.printed().substr(recording().forgottenText);
}

void forgetLogLines() {
    loggedLines();
    recording().lines.clear();
    recording().forgottenText = recording().console.printed().size();
}
