// The path of an entry: from a format to the write queue, and from there into the file.

#include "util/log/QFLog.h"

#include "platform/Application.h"
#include "platform/Services.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "util/log/LogLocation.h"

#include <algorithm>
#include <array>
#include <exception>
#include <utility>

namespace {

constexpr std::string_view afterDate = " - ";
constexpr std::string_view afterMessage = "\n";
constexpr std::string_view consoleFormat = "%@\n";
constexpr std::string_view truncatedMessage = "Log truncated at 500KB";
constexpr std::string_view lostMessage = "Unable to log the following information: %s\n";
constexpr std::string_view unopenedMessage = "Unable to open log for output\n";
constexpr std::string_view writeExceptionMessage = "Exception writing to log: %s\n";

/// The size, in bytes, at which a log is full.
constexpr std::uint64_t sizeLimit = 500000;

/// Callers wait only for messages up to this length, and only while no more than this is queued.
constexpr std::uint64_t mostCharactersToWaitFor = 99;

struct Replacement {
    std::string_view from;
    std::string_view to;
};

constexpr std::array escapes{
    Replacement{"% ", "%% "}, Replacement{"%.", "%%."}, Replacement{"%!", "%%!"},
    Replacement{"%,", "%%,"}, Replacement{"%-", "%%-"}, Replacement{"%;", "%%;"},
    Replacement{"%:", "%%:"}, Replacement{"%+", "%%+"}, Replacement{"%%%", "%%"},
};

constexpr std::array consoleReplacements{
    Replacement{"%@", ""},
    Replacement{"%", "%%"},
    Replacement{std::string_view("\0", 1), ""},
};

/// Returns whether an escape may apply. Most formats need none, and every entry pays for the check.
bool mayNeedEscapes(std::string_view text) {
    for (auto found = text.find('%'); found != std::string_view::npos && found + 1 < text.size();
         found = text.find('%', found + 1)) {
        const char next = text[found + 1];
        if (std::any_of(escapes.begin(), escapes.end(),
                        [next](const auto& each) { return each.from[1] == next; })) {
            return true;
        }
    }
    return false;
}

std::string replacingAll(std::string_view text, const Replacement& replacement) {
    std::string result;
    result.reserve(text.size());
    for (;;) {
        const auto found = text.find(replacement.from);
        result += text.substr(0, found);
        if (found == std::string_view::npos) {
            return result;
        }
        result += replacement.to;
        text.remove_prefix(found + replacement.from.size());
    }
}

template <class Replacements>
std::string replacingAll(std::string_view text, const Replacements& replacements) {
    std::string result(text);
    for (const Replacement& replacement : replacements) {
        result = replacingAll(result, replacement);
    }
    return result;
}

/// Returns an entry as it appears in the file. The write queue spends its time here and in the
/// write.
std::string entryOf(platform::Date date, std::string_view message) {
    constexpr std::size_t mostAroundMessage = 40;
    std::string entry;
    entry.reserve(message.size() + mostAroundMessage);
    platform::appendDescription(entry, date);
    return entry.append(afterDate).append(message).append(afterMessage);
}

bool isMainThread() {
    auto* application = platform::installedService<platform::Application>();
    return application != nullptr && application->isMainThread();
}

/// Runs `step` and swallows what it throws: a failure to log never reaches the caller.
template <class Step>
void quietly(Step step) {
    try {
        step();
    } catch (const std::exception&) {
        return;
    }
}

} // namespace

std::string QFLog::escapeTextForLogging(std::string_view text) {
    return mayNeedEscapes(text) ? replacingAll(text, escapes) : std::string(text);
}

std::optional<std::string> QFLog::message(Format format, FormatArguments arguments) const {
    if (!format || loggingDisabled()) {
        return {};
    }
    return platform::format(escapeTextForLogging(*format), arguments);
}

void QFLog::append(Format format, FormatArguments arguments) {
    quietly([&] {
        auto& log = sharedController();
        auto text = log.message(format, arguments);
        if (!text) {
            return;
        }
        const auto length = platform::text::utf16Length(*text);
        log.appendTextToLog(std::move(*text));
        if (!isMainThread() && length > 0 && length <= mostCharactersToWaitFor &&
            log.bytesInQueue() <= mostCharactersToWaitFor) {
            finishWriting();
        }
    });
}

void QFLog::fastAppend(Format format, FormatArguments arguments) {
    quietly([&] {
        auto& log = sharedController();
        if (auto text = log.message(format, arguments)) {
            log.appendTextToLog(std::move(*text));
        }
    });
}

void QFLog::appendAndPrint(Format format, FormatArguments arguments) {
    quietly([&] {
        auto& log = sharedController();
        const auto text = log.message(format, arguments);
        if (!text) {
            return;
        }
        const auto trimmed = platform::text::trimmed(*text);
        appendLog(trimmed);
        const auto shown = platform::text::validUtf8(std::string(trimmed));
        log.print(consoleFormat, {replacingAll(shown, consoleReplacements)});
    });
}

void QFLog::appendAndDebugPrint(Format format, FormatArguments arguments) {
    quietly([&] {
        if (const auto text = sharedController().message(format, arguments)) {
            const auto trimmed = platform::text::trimmed(*text);
            appendLog(trimmed, trimmed);
        }
    });
}

void QFLog::appendTextToLog(std::string text) {
    if (const auto trimmed = platform::text::trimmed(text); trimmed.size() < text.size()) {
        text = std::string(trimmed);
    }
    auto entry = platform::text::validUtf8(std::move(text));
    auto* queue = writeQueue();
    if (entry.empty()) {
        return;
    }
    bytesInQueue_ += platform::text::utf16Length(entry);
    if (queue != nullptr) {
        queue->addOperation([this, entry = std::move(entry)] { appendLogOnThread(entry); });
    }
}

void QFLog::finishWriting() {
    if (auto* queue = sharedController().writeQueue()) {
        queue->waitUntilAllOperationsAreFinished();
    }
}

void QFLog::appendLogOnThread(std::string_view text) {
    try {
        writeEntry(text);
    } catch (const std::exception& exception) {
        print(writeExceptionMessage, {exception.what()});
    }
}

void QFLog::writeEntry(std::string_view text) {
    if (loggingDisabled()) {
        return;
    }
    const auto entry = entryOf(now(), text);
    if (appendEntry(entry)) {
        bytesWritten_ += entry.size();
        if (bytesWritten() >= sizeLimit) {
            startOver();
        }
    } else {
        print(lostMessage, {text});
        print(unopenedMessage, {});
    }
    bytesInQueue_ -= platform::text::utf16Length(text);
}

/// Returns whether the entry that is being written was already queued when the one before it was
/// written. Checking that the file is in place costs more than writing to it, so only every so many
/// such entries do it.
bool QFLog::followsAtOnce() {
    constexpr std::uint64_t entriesPerLook = 32;
    const auto* queue = writeQueue();
    const auto number = queue != nullptr ? queue->currentOperation() : 0;
    const auto former = lastEntry_.load(std::memory_order_relaxed);
    lastEntry_.store(number, std::memory_order_relaxed);
    return former != 0 && number == former + 1 && !queue->wasEmptySince(former) &&
           number % entriesPerLook != 0;
}

/// Returns false if there is no log to write to.
bool QFLog::appendEntry(std::string_view entry) {
    const bool mayGoOn = followsAtOnce();
    const auto file = fileHandle();
    if (file && (mayGoOn || file->isInPlace()) && file->append(entry)) {
        return true;
    }
    if (file) {
        setFileHandle(nullptr);
        setBytesWritten(0);
    }
    return appendToFreshFile(entry);
}

/// Opens the current log and writes into it, while nobody can start another one.
bool QFLog::appendToFreshFile(std::string_view entry) {
    const auto path = log_location::currentLog(appName());
    if (!path) {
        return false;
    }
    auto& files = platform::service<platform::LogFiles>();
    // If the lock cannot be had, because its holder hangs, the entry is written all the same.
    const auto lock = files.lock({platform::path::deletingLastComponent(*path)});
    const auto file = files.open(*path);
    setFileHandle(file);
    return file && file->append(entry);
}

/// The entries that finishWriting() writes here still belong to the full log, however large they
/// make it: only the entry that filled it starts a new one. If another process starts one first,
/// this one continues in that.
void QFLog::startOver() {
    if (startingOver_.exchange(true)) {
        return;
    }
    const auto full = fileHandle();
    finishWriting();
    if (startLog(appName(), NoPrinting::no, full) != Started::byAnother) {
        appendLog(truncatedMessage);
    }
    startingOver_ = false;
}
