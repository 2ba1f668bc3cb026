// The log's files: starting a new one, moving the older ones, and listing them.

#include "util/log/QFLog.h"

#include "platform/PropertyLists.h"
#include "platform/Services.h"
#include "platform/SystemInformation.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "util/log/LogLocation.h"
#include "util/paths/QFLocalPaths.h"

namespace {

constexpr std::string_view disabledMessage = "Logging is disabled\n";
constexpr std::string_view directoryMessage = "Unable to create folder %s.\n";
constexpr std::string_view moveMessage = "Unable to move file %s to %s.\n";
constexpr std::string_view createMessage = "Unable to create log file %s - %s\n";
constexpr std::string_view startExceptionMessage = "Exception starting log: %s\n";
constexpr const char* lockedReason = "another program keeps its folder locked";

constexpr std::string_view startedHeader = "Log started: %@\n";
constexpr std::string_view versionHeader = "Version: %@\n";
constexpr std::string_view pathHeader = "Path: %@\n";
constexpr std::string_view systemHeader = "System: macOS %@, %li CPU(s), %0.2f GB RAM\n";
constexpr std::string_view modeHeader = "Running in 64-bit mode\n";

constexpr std::string_view preferencesFile = "/com.quillfen.global.plist";
constexpr const char* disableKey = "disable-logging";

constexpr const char* unknownName = "Unknown";

bool isOne(const qf::Value& value) {
    if (const auto* text = value.as<std::string>()) {
        return *text == "1";
    }
    if (const auto* real = value.as<double>()) {
        return *real == 1;
    }
    return value == qf::Value(true) || value == qf::Value(1);
}

bool isDisabledByUser() {
    const auto directory = QFLocalPaths::prefsDirectory(qf::Domain::user);
    if (!directory) {
        return false;
    }
    auto& propertyLists = qf::service<qf::PropertyLists>();
    return isOne(propertyLists.read(*directory + std::string(preferencesFile))[disableKey]);
}

double gigabytes(std::uint64_t bytes) {
    constexpr double step = 0.0009765625;
    return static_cast<double>(bytes) * step * step * step;
}

} // namespace

void QFLog::createNewLog() {
    createNewLog(std::nullopt);
}

void QFLog::createNewLog(const std::optional<std::string>& applicationName) {
    createNewLog(applicationName, NoPrinting::no);
}

void QFLog::createNewLog(const std::optional<std::string>& applicationName, NoPrinting noPrinting) {
    sharedController().startLog(applicationName, noPrinting, nullptr);
}

/// Starts a log, unless `full` is set and another process or thread has replaced that file already.
QFLog::Started QFLog::startLog(const std::optional<std::string>& applicationName,
                               NoPrinting noPrinting, const std::shared_ptr<qf::LogFile>& full) {
    auto started = Started::no;
    try {
        setNoPrinting(noPrinting == NoPrinting::yes);
        if (loggingDisabled()) {
            return started;
        }
        setFileHandle(nullptr);
        if (isDisabledByUser()) {
            print(disabledMessage, {});
            setLoggingDisabled(true);
            return started;
        }
        nameLog(applicationName);
        setBytesWritten(0);
        started = makeLog(full.get());
        if (started == Started::byThisCall) {
            writeHeader();
        }
    } catch (const std::exception& exception) {
        print(startExceptionMessage, {exception.what()});
    }
    return started;
}

/// Writes no entry: the write queue may wait for the lock.
QFLog::Started QFLog::makeLog(qf::LogFile* full) {
    const auto name = appName();
    const auto directory = qf::log_location::userDirectory();
    const auto current = qf::log_location::currentLog(name);
    auto& files = qf::service<qf::LogFiles>();
    if (!directory || !current ||
        (!files.exists(*directory) && !files.createDirectory(*directory))) {
        print(directoryMessage,
              {directory ? std::optional(qf::text::printable(*directory)) : directory});
        return Started::no;
    }
    const auto lock = files.lock({*directory, qf::path::deletingLastComponent(*current)});
    if (lock == nullptr) {
        print(createMessage, {qf::text::printable(*current), lockedReason});
        return Started::no;
    }
    if (full != nullptr && !full->isInPlace()) {
        setFileHandle(files.open(*current));
        return Started::byAnother;
    }
    if (files.exists(*current) && !rotate(*directory, name, *current)) {
        return Started::no;
    }
    if (const auto created = files.createEmptyFile(*current); !created) {
        print(createMessage, {qf::text::printable(*current), created.error().localizedDescription});
        return Started::no;
    }
    const auto file = files.open(*current);
    setFileHandle(file);
    return file ? Started::byThisCall : Started::no;
}

/// A given name is used only if none is set; an empty one counts as unset.
void QFLog::nameLog(const std::optional<std::string>& applicationName) {
    {
        const std::lock_guard lock(mutex_);
        if (!appName_) {
            appName_ = applicationName;
        }
    }
    if (appName().empty()) {
        setAppName(unknownName);
    }
}

/// Makes room for a new log at `current`; returns false if a file could not be moved.
bool QFLog::rotate(const std::string& directory, const std::string& name,
                   const std::string& current) const {
    using namespace qf::log_location;
    auto& files = qf::service<qf::LogFiles>();
    const auto last = numberedLog(directory, name, oldest);
    if (files.exists(last)) {
        static_cast<void>(files.removeLog(last)); // the move to its path fails if it remains
    }
    for (int number = oldest - 1; number >= newest; --number) {
        const auto from = numberedLog(directory, name, number);
        const auto to = numberedLog(directory, name, number + 1);
        if (files.exists(from) &&
            !(from == current ? files.setAside(from, to) : files.renameLog(from, to))) {
            print(moveMessage, {qf::text::printable(from), qf::text::printable(to)});
            return false;
        }
    }
    return true;
}

void QFLog::writeHeader() {
    auto& system = qf::service<qf::SystemInformation>();
    fastAppendLog(startedHeader, qf::description(now()));
    if (const auto version = system.bundleVersion()) {
        fastAppendLog(versionHeader, *version);
    }
    if (const auto path = system.executablePath()) {
        fastAppendLog(pathHeader, *path);
    }
    appendLog(systemHeader, system.operatingSystemVersion(), system.processorCount(),
              gigabytes(system.physicalMemory()));
    fastAppendLog(modeHeader);
}

std::vector<std::string> QFLog::availableLogs() {
    std::vector<std::string> logs;
    const auto directory = qf::log_location::userDirectory();
    if (!directory) {
        return logs;
    }
    const auto name = sharedController().appName();
    for (int number = qf::log_location::newest; number <= qf::log_location::oldest; ++number) {
        auto path = qf::log_location::numberedLog(*directory, name, number);
        if (qf::service<qf::LogFiles>().exists(path)) {
            logs.push_back(std::move(path));
        }
    }
    return logs;
}
