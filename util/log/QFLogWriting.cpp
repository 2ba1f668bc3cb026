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

/// An entry as it is in the file. The write queue spends its time here and in the write.
std::string entryOf(qf::Date date, std::string_view message) {
    constexpr std::size_t mostAroundMessage = 40;
    std::string entry;
    entry.reserve(message.size() + mostAroundMessage);
    qf::appendDescription(entry, date);
    return entry.append(afterDate).append(message).append(afterMessage);
}

std::string_view messageOf(std::string_view entry) {
    entry.remove_prefix(entry.find(afterDate) + afterDate.size());
    entry.remove_suffix(afterMessage.size());
    return entry;
}

bool isMainThread() {
    auto* application = qf::installedService<qf::Application>();
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
    return qf::format(escapeTextForLogging(*format), arguments);
}

void QFLog::append(Format format, FormatArguments arguments) {
    quietly([&] {
        auto& log = sharedController();
        auto text = log.message(format, arguments);
        if (!text) {
            return;
        }
        const auto length = qf::text::utf16Length(*text);
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
        const auto trimmed = qf::text::trimmed(*text);
        appendLog(trimmed);
        const auto shown = qf::text::validUtf8(std::string(trimmed));
        log.print(consoleFormat, {replacingAll(shown, consoleReplacements)});
    });
}

void QFLog::appendAndDebugPrint(Format format, FormatArguments arguments) {
    quietly([&] {
        if (const auto text = sharedController().message(format, arguments)) {
            const auto trimmed = qf::text::trimmed(*text);
            appendLog(trimmed, trimmed);
        }
    });
}

void QFLog::appendTextToLog(std::string text) {
    if (const auto trimmed = qf::text::trimmed(text); trimmed.size() < text.size()) {
        text = std::string(trimmed);
    }
    auto entry = qf::text::validUtf8(std::move(text));
    auto* queue = writeQueue();
    if (entry.empty()) {
        return;
    }
    bytesInQueue_ += qf::text::utf16Length(entry);
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

/// What this thread has written to a file that it does not know to have a name still. A thread has
/// nothing left here when another one writes.
struct QFLog::Unconfirmed {
    static constexpr std::size_t mostEntries = 32;
    static constexpr std::size_t mostBytes = 65536;

    File file;
    std::string bytes; // one entry behind the other
    std::vector<std::size_t> sizes;
    std::uint64_t lastOperation = 0; // in which an entry was written, or 0

    /// What is not written on the queue, which confirms when it becomes empty, is confirmed at
    /// once.
    bool isFull() const {
        return lastOperation == 0 || sizes.size() >= mostEntries || bytes.size() >= mostBytes;
    }

    void keep(std::string_view entry, File itsFile) {
        file = std::move(itsFile);
        bytes += entry;
        sizes.push_back(entry.size());
    }

    /// Forgets all, and returns it where the file was deleted.
    std::vector<std::string> takeDeleted() {
        std::vector<std::string> deleted;
        if (file && !file->hasName()) {
            std::size_t begin = 0;
            for (const auto size : sizes) {
                deleted.push_back(bytes.substr(begin, size));
                begin += size;
            }
        }
        file = nullptr;
        sizes.clear();
        bytes.clear();
        if (bytes.capacity() > 2 * mostBytes) {
            bytes.shrink_to_fit();
        }
        return deleted;
    }
};

QFLog::Unconfirmed& QFLog::unconfirmed() {
    thread_local Unconfirmed entries;
    return entries;
}

void QFLog::writeEntry(std::string_view text) {
    if (loggingDisabled()) {
        return;
    }
    if (write(entryOf(now(), text)) && bytesWritten() >= sizeLimit) {
        startOver();
    }
    bytesInQueue_ -= qf::text::utf16Length(text);
}

/// False, and said so, when there is no log to write to.
bool QFLog::write(std::string_view entry) {
    auto file = append(entry);
    if (!file) {
        print(lostMessage, {messageOf(entry)});
        print(unopenedMessage, {});
        return false;
    }
    bytesWritten_ += entry.size();
    auto& written = unconfirmed();
    written.keep(entry, std::move(file));
    if (written.isFull()) {
        confirmEntries();
    }
    return true;
}

/// Returns the file that the entry went to, or null when there is none.
QFLog::File QFLog::append(std::string_view entry) {
    auto file = fileHandle();
    if (!followsAtOnce(file)) {
        confirmEntries(); // which may write those before this one once more, elsewhere
        file = fileHandle();
        if (file && !file->isInPlace()) {
            setFileHandle(nullptr);
            setBytesWritten(0);
            file = nullptr;
        }
    }
    if (!file) {
        return appendToFreshFile(entry);
    }
    file->append(entry);
    return file;
}

/// Opens the current log and writes into it, while nobody starts another one.
QFLog::File QFLog::appendToFreshFile(std::string_view entry) {
    const auto path = qf::log_location::currentLog(appName());
    if (!path) {
        return nullptr;
    }
    auto& files = qf::service<qf::LogFiles>();
    // If the lock cannot be had, because its holder hangs, the entry is written all the same.
    const auto lock = files.lock({qf::path::deletingLastComponent(*path)});
    auto file = files.open(*path);
    setFileHandle(file);
    if (file) {
        file->append(entry);
    }
    return file;
}

/// Whether the entry that is being written was waiting when the one before it was written to the
/// same file, which was in place a few entries ago: looking for that costs more than the write.
bool QFLog::followsAtOnce(const File& file) const {
    const auto* queue = writeQueue();
    const auto number = queue != nullptr ? queue->currentOperation() : 0;
    auto& before = unconfirmed();
    const auto former = std::exchange(before.lastOperation, number);
    return number == former + 1 && file && before.file == file;
}

/// Sees to it that what was written is in a file that others can find: looking for that after each
/// write would cost as much as the write. Returns when nothing is left that is not known to be.
void QFLog::confirmEntries() {
    for (auto deleted = unconfirmed().takeDeleted(); !deleted.empty();
         deleted = unconfirmed().takeDeleted()) {
        for (const auto& entry : deleted) {
            try {
                write(entry);
            } catch (const std::exception& exception) {
                print(writeExceptionMessage, {exception.what()});
            }
        }
    }
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
