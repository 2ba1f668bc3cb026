#pragma once

#include "platform/LogFiles.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/Format.h"
#include "platform/foundation/OperationQueue.h"

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The process-wide log: one file per application, in the folder Logs/Quillfen of the user's
/// Library folder, with four older ones beside it; "NAME.1.log" is the current one, "NAME.5.log"
/// the oldest. For the superuser the current log alone lies in the machine's Library folder; the
/// folder that is made and the older logs stay with the user.
///
/// An entry is "DATE - MESSAGE" and a line end, in UTF-8: bytes of a message that are no UTF-8 are
/// written as "\xNN". Entries are written in the order in which they were queued, each in one step,
/// on a queue of the log's own, which also takes their date.
///
/// Nothing is ever reported to a caller: what goes wrong is said on standard output, and only while
/// printing is allowed and logging is not disabled. Every member may be called from any thread.
///
/// A copy of the process (platform::ProcessCopies) logs on into the same file; what was queued
/// before is written by the original alone.
///
/// Several processes may share a log. Each goes on in the file that one of them starts; none loses
/// an entry by that, or starts one that another has started already. An entry that finds no file
/// at the log's path, because that or a folder above it was moved or deleted, is said to be lost;
/// of entries that follow one another at once, a few may still go where the file was moved to.
/// Those that went to a file that was deleted meanwhile are written once more, or said to be lost,
/// before anybody who waits for them is told that they are written.
///
/// Which thread is the main thread and when the application terminates is asked of
/// platform::Application. In a program without one, every thread counts as a worker, so that short
/// messages are in the file when their call returns, and the program calls finishWriting() or
/// willTerminate() before it ends if it wants the others written too.
class QFLog {
public:
    /// A format for platform::format(), after escapeTextForLogging(); nothing is logged for none.
    using Format = std::optional<std::string_view>;

    /// Whether the log itself keeps silent on standard output.
    enum class NoPrinting { no, yes };

    QFLog(const QFLog&) = delete;
    QFLog& operator=(const QFLog&) = delete;
    QFLog(QFLog&&) = delete;
    QFLog& operator=(QFLog&&) = delete;

    /// The one log. The first call makes its queue, has willTerminate() called when the application
    /// terminates, and has exceptions that nobody catches logged. It is never destroyed.
    static QFLog& sharedController();

    /// Starts a fresh log file and makes the existing one the second, that the third, and so on;
    /// the fifth is deleted. Its first entries tell when, which program and what machine.
    ///
    /// `applicationName` names the files unless they have a name already; without either the name
    /// is the executable's, or "Unknown". When the user's preference "disable-logging" of
    /// "com.quillfen.global" is the string "1", or a number or boolean equal to one, logging is
    /// disabled for the rest of the process. While one call moves and makes the files, other calls
    /// wait, in this process and in others.
    ///
    /// Prints "Logging is disabled", "Unable to create folder %s.", "Unable to move file %s to
    /// %s." (the older logs then stay half moved and no log is started) or "Unable to create log
    /// file %s - %s".
    static void createNewLog();
    static void createNewLog(const std::optional<std::string>& applicationName);
    static void createNewLog(const std::optional<std::string>& applicationName,
                             NoPrinting noPrinting);

    /// The log files that exist in the user's folder, newest first.
    static std::vector<std::string> availableLogs();

    /// Ends logging: writes what is queued if that is 10 operations or fewer, else drops it, and
    /// closes the file. Entries that come later are lost.
    static void willTerminate();

    /// Logs a message. A message of 1 to 99 characters from another thread than the main one is in
    /// the file when the call returns, if 99 characters or fewer wait to be written.
    template <class... Arguments>
    static void appendLog(Format format, const Arguments&... arguments) {
        append(format, {platform::FormatArgument(arguments)...});
    }

    /// Logs a message and never waits.
    template <class... Arguments>
    static void fastAppendLog(Format format, const Arguments&... arguments) {
        fastAppend(format, {platform::FormatArgument(arguments)...});
    }

    /// Logs a message as appendLog() does and prints it, with a line end, on standard output. The
    /// filled format serves as a format without arguments once more, and what is printed lacks
    /// every "%@" and zero and shows every "%" doubled; both are meant to be so.
    template <class... Arguments>
    static void appendLogAndPrint(Format format, const Arguments&... arguments) {
        appendAndPrint(format, {platform::FormatArgument(arguments)...});
    }

    /// Logs a message as appendLog() does. The filled format serves as a format once more, with
    /// itself as the only argument.
    template <class... Arguments>
    static void appendLogAndDebugPrint(Format format, const Arguments&... arguments) {
        appendAndDebugPrint(format, {platform::FormatArgument(arguments)...});
    }

    /// Does nothing at all.
    template <class... Arguments>
    static void debugPrint(Format /*format*/, const Arguments&... /*arguments*/) {}

    /// `text` with every percent sign that prose would use (before a blank or one of . ! , - ; : +)
    /// doubled, so that a format shows it as it stands. One that was doubled already stays so.
    static std::string escapeTextForLogging(std::string_view text);

    /// Returns when the write queue is empty: every entry that was queued before the call, or
    /// meanwhile, is in the file. In an operation of the write queue itself, which cannot wait for
    /// itself, it writes those that were queued before at once. Waits of several threads do not
    /// hold one another up.
    static void finishWriting();

    /// Queues one entry. A text of white space alone is none.
    void appendTextToLog(std::string text);

    /// Writes one entry into the current log, which is opened first when none is open. When that
    /// brings what this process has written into the file to 500,000 bytes, writes what was queued
    /// until then and starts a new log, unless another process has done that.
    void appendLogOnThread(std::string_view text);

    /// The name of the log files; where none is set, the executable's name without extension.
    std::string appName() const;
    void setAppName(std::optional<std::string> name);

    /// The open log file, or null.
    std::shared_ptr<platform::LogFile> fileHandle() const;
    void setFileHandle(std::shared_ptr<platform::LogFile> file);

    /// How many bytes this process has written into the current log.
    std::uint64_t bytesWritten() const { return bytesWritten_; }
    void setBytesWritten(std::uint64_t count) { bytesWritten_ = count; }

    /// Where entries wait to be written, or null. A queue that is set lives as long as the process.
    platform::OperationQueue* writeQueue() const { return writeQueue_; }
    void setWriteQueue(platform::OperationQueue* queue);

    /// About how many characters wait to be written. Each entry that could not be written because
    /// of an exception stays counted.
    std::uint64_t bytesInQueue() const { return bytesInQueue_; }
    void setBytesInQueue(std::uint64_t count) { bytesInQueue_ = count; }

    /// Whether the user has disabled logging, so that nothing is written.
    bool loggingDisabled() const { return loggingDisabled_; }
    void setLoggingDisabled(bool disabled) { loggingDisabled_ = disabled; }

    /// Whether the log itself keeps silent on standard output.
    bool noPrinting() const { return noPrinting_; }
    void setNoPrinting(bool noPrinting) { noPrinting_ = noPrinting; }

    /// Gives the one log, without its queue, to the first caller, and null to every later one.
    static QFLog* allocWithZone(const void* zone);

    /// There is one log, which is neither copied nor counted nor freed.
    QFLog& copyWithZone(const void* /*zone*/) { return *this; }
    QFLog& retain() { return *this; }
    QFLog& autorelease() { return *this; }
    void release() {}
    unsigned retainCount() const { return 0xFFFFFFFF; }

    /// Ends logging as willTerminate() does, which stays registered.
    void dealloc();

private:
    using FormatArguments = std::initializer_list<platform::FormatArgument>;

    QFLog() = default;
    ~QFLog() = default;

    static void append(Format format, FormatArguments arguments);
    static void fastAppend(Format format, FormatArguments arguments);
    static void appendAndPrint(Format format, FormatArguments arguments);
    static void appendAndDebugPrint(Format format, FormatArguments arguments);
    std::optional<std::string> message(Format format, FormatArguments arguments) const;
    void print(std::string_view format, FormatArguments arguments) const noexcept;
    static platform::Date now();

    void observeTermination();
    void observeCopies();

    enum class Started { no, byThisCall, byAnother };
    Started startLog(const std::optional<std::string>& applicationName, NoPrinting noPrinting,
                     const std::shared_ptr<platform::LogFile>& full);
    void nameLog(const std::optional<std::string>& applicationName);
    Started makeLog(platform::LogFile* full);
    bool rotate(const std::string& folder, const std::string& name,
                const std::string& current) const;
    static void writeHeader();

    struct Unconfirmed;
    using File = std::shared_ptr<platform::LogFile>;

    static Unconfirmed& unconfirmed();
    void writeEntry(std::string_view text);
    bool write(std::string_view entry);
    File append(std::string_view entry);
    File appendToFreshFile(std::string_view entry);
    bool followsAtOnce(const File& file) const;
    void confirmEntries();
    void startOver();

    // What callers read and hardly anybody changes.
    std::atomic<platform::OperationQueue*> writeQueue_{nullptr};
    std::atomic<int> terminationObserver_{0};
    std::atomic<bool> observesTermination_{false};
    std::atomic<bool> loggingDisabled_{false};
    std::atomic<bool> noPrinting_{false};
    std::atomic<bool> startingOver_{false};
    std::optional<std::string> appName_;
    platform::OperationQueue* copiedQueue_ = nullptr;

    // What the write queue uses for each entry, on a cache line of its own.
    alignas(64) mutable std::mutex mutex_;
    std::shared_ptr<platform::LogFile> fileHandle_;
    std::atomic<std::uint64_t> bytesWritten_{0};

    platform::OperationQueue ownQueue_;

    // What every caller and the write queue change.
    alignas(64) std::atomic<std::uint64_t> bytesInQueue_{0};
};
