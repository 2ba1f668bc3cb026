#pragma once

#include "platform/LogFiles.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/Format.h"
#include "platform/foundation/OperationQueue.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The process-wide log: one file per application, in the directory Logs/Quillfen of the user's
/// Library directory, with four older ones beside it; "NAME.1.log" is the current one, "NAME.5.log"
/// the oldest. For the superuser only the current log is in the machine's Library directory; the
/// directory that is created and the older logs are the user's.
///
/// An entry is "DATE - MESSAGE" and a line end, in UTF-8; bytes of a message that are not UTF-8 are
/// written as "\xNN". Entries are written in the order in which they were queued, each in one step,
/// on the log's own queue, which also takes their date.
///
/// Failures are never reported to a caller: they are printed on standard output, and only while
/// printing is allowed and logging is not disabled. Any thread may call every member.
///
/// A forked process (qf::ProcessCopies) continues to log into the same file; entries queued
/// before the fork are written only by the original.
///
/// Several processes may share a log. Each goes on in the file that one of them starts; none loses
/// an entry by that, or starts one that another has started already. An entry that finds no file
/// at the log's path, because that or a directory above it was moved or deleted, is said to be
/// lost; of entries that follow one another at once, a few may still go where the file was moved
/// to. Those that went to a file that was deleted meanwhile are written once more, or said to be
/// lost, before anybody who waits for them is told that they are written.
///
/// qf::Application defines the main thread and when the application terminates. In a program
/// without one, every thread counts as a worker: short messages are in the file when their call
/// returns, and the program calls finishWriting() or willTerminate() before it ends if the others
/// are to be written too.
class QFLog {
public:
    /// A format for qf::format(), after escapeTextForLogging(). No value, or a null pointer, logs
    /// nothing.
    class Format : public std::optional<std::string_view> {
    public:
        using std::optional<std::string_view>::optional;
        /// Holds a text, unless it is null.
        Format(std::nullptr_t) {}
        Format(const char* text) {
            if (text != nullptr) {
                emplace(text);
            }
        }
    };

    /// Whether the log itself keeps silent on standard output.
    enum class NoPrinting { no, yes };

    QFLog(const QFLog&) = delete;
    QFLog& operator=(const QFLog&) = delete;
    QFLog(QFLog&&) = delete;
    QFLog& operator=(QFLog&&) = delete;

    /// Returns the one log. The first call creates its queue, arranges for willTerminate() to be
    /// called when the application terminates, and for uncaught exceptions to be logged. The log is
    /// never destroyed.
    static QFLog& sharedController();

    /// Starts a new log file: the existing one becomes the second, the second the third, and so on;
    /// the fifth is deleted. The first entries name the date, the program and the machine.
    ///
    /// `applicationName` names the files unless they have a name already; without either the name
    /// is the executable's, or "Unknown". It must not contain "/". When the user's preference
    /// "disable-logging" of "com.quillfen.global" is the string "1", or a number or boolean equal
    /// to one, logging is disabled for the rest of the process. While one call moves and creates
    /// files, other calls wait, in this process and in others.
    ///
    /// Prints "Logging is disabled", "Unable to create folder %s.", "Unable to move file %s to %s."
    /// (the older logs then remain half moved, and no log is started) or "Unable to create log file
    /// %s - %s".
    static void createNewLog();
    static void createNewLog(const std::optional<std::string>& applicationName);
    static void createNewLog(const std::optional<std::string>& applicationName,
                             NoPrinting noPrinting);

    /// Returns the existing files of this log, up to five, in the user's directory, newest first.
    static std::vector<std::string> availableLogs();

    /// Ends logging: writes the queued operations if they are 10 or fewer, otherwise drops them,
    /// and closes the file. Later entries are lost without a message.
    static void willTerminate();

    /// Logs a message. A message of 1 to 99 characters from a thread other than the main thread is
    /// in the file when the call returns, provided that 99 characters or fewer wait to be written.
    template <class... Arguments>
    static void appendLog(Format format, const Arguments&... arguments) {
        append(format, {qf::FormatArgument(arguments)...});
    }

    /// Logs a message and never waits.
    template <class... Arguments>
    static void fastAppendLog(Format format, const Arguments&... arguments) {
        fastAppend(format, {qf::FormatArgument(arguments)...});
    }

    /// Logs a message as appendLog() does and prints it, with a line end, on standard output. The
    /// formatted text is formatted once more, without arguments, and the printed text lacks every
    /// "%@" and zero and shows every "%" doubled; both are intended.
    template <class... Arguments>
    static void appendLogAndPrint(Format format, const Arguments&... arguments) {
        appendAndPrint(format, {qf::FormatArgument(arguments)...});
    }

    /// Logs a message as appendLog() does. The formatted text is formatted once more, with itself
    /// as the only argument.
    template <class... Arguments>
    static void appendLogAndDebugPrint(Format format, const Arguments&... arguments) {
        appendAndDebugPrint(format, {qf::FormatArgument(arguments)...});
    }

    /// Does nothing at all.
    template <class... Arguments>
    static void debugPrint(Format /*format*/, const Arguments&... /*arguments*/) {}

    /// Returns `text` with every percent sign as used in prose (before a space or one of . ! , - ;
    /// : +) doubled, so that a format shows it unchanged. One that is doubled already is left
    /// alone.
    static std::string escapeTextForLogging(std::string_view text);

    /// Waits until the write queue is empty: every entry queued before the call, or meanwhile, is
    /// then in the file. Called on the write queue itself, which cannot wait for itself, it writes
    /// the entries queued before it at once. Threads that wait do not delay one another.
    static void finishWriting();

    /// Queues one entry. Ignores a text of white space only.
    void appendTextToLog(std::string text);

    /// Writes one entry into the current log, opening it first if none is open. Once this process
    /// has written 500,000 bytes into the file, writes the entries queued so far and starts a new
    /// log, unless another process has done so.
    void appendLogOnThread(std::string_view text);

    /// The name of the log files; if unset, the executable's name without extension.
    std::string appName() const;
    void setAppName(std::optional<std::string> name);

    /// The open log file, or null.
    std::shared_ptr<qf::LogFile> fileHandle() const;
    void setFileHandle(std::shared_ptr<qf::LogFile> file);

    /// How many bytes this process has written into the current log.
    std::uint64_t bytesWritten() const { return bytesWritten_; }
    void setBytesWritten(std::uint64_t count) { bytesWritten_ = count; }

    /// The queue of entries to be written, or null. A queue that is set lives as long as the
    /// process.
    qf::OperationQueue* writeQueue() const { return writeQueue_; }
    void setWriteQueue(qf::OperationQueue* queue);

    /// The approximate number of characters that wait to be written. An entry that could not be
    /// written because of an exception remains counted.
    std::uint64_t bytesInQueue() const { return bytesInQueue_; }
    void setBytesInQueue(std::uint64_t count) { bytesInQueue_ = count; }

    /// Whether the user has disabled logging, so that nothing is written.
    bool loggingDisabled() const { return loggingDisabled_; }
    void setLoggingDisabled(bool disabled) { loggingDisabled_ = disabled; }

    /// Whether the log itself keeps silent on standard output.
    bool noPrinting() const { return noPrinting_; }
    void setNoPrinting(bool noPrinting) { noPrinting_ = noPrinting; }

    /// Returns the one log, without its queue, to the first caller, and null to every later one.
    static QFLog* allocWithZone(const void* zone);

    /// There is one log, which is never copied, counted or freed.
    QFLog& copyWithZone(const void* /*zone*/) { return *this; }
    QFLog& retain() { return *this; }
    QFLog& autorelease() { return *this; }
    void release() {}
    unsigned retainCount() const { return 0xFFFFFFFF; }

    /// Ends logging as willTerminate() does. willTerminate() remains registered.
    void dealloc();

private:
    using FormatArguments = std::initializer_list<qf::FormatArgument>;

    QFLog() = default;
    ~QFLog() = default;

    static void append(Format format, FormatArguments arguments);
    static void fastAppend(Format format, FormatArguments arguments);
    static void appendAndPrint(Format format, FormatArguments arguments);
    static void appendAndDebugPrint(Format format, FormatArguments arguments);
    std::optional<std::string> message(Format format, FormatArguments arguments) const;
    void print(std::string_view format, FormatArguments arguments) const noexcept;
    static qf::Date now();

    void observeTermination();
    void observeCopies();

    enum class Started { no, byThisCall, byAnother };
    Started startLog(const std::optional<std::string>& applicationName, NoPrinting noPrinting,
                     const std::shared_ptr<qf::LogFile>& full);
    void nameLog(const std::optional<std::string>& applicationName);
    Started makeLog(qf::LogFile* full);
    bool rotate(const std::string& directory, const std::string& name,
                const std::string& current) const;
    static void writeHeader();

    struct Unconfirmed;
    using File = std::shared_ptr<qf::LogFile>;

    static Unconfirmed& unconfirmed();
    void writeEntry(std::string_view text);
    bool write(std::string_view entry);
    File append(std::string_view entry);
    File appendToFreshFile(std::string_view entry);
    bool followsAtOnce(const File& file) const;
    void confirmEntries();
    void startOver();

    // Read by callers and rarely changed.
    std::atomic<qf::OperationQueue*> writeQueue_{nullptr};
    std::atomic<int> terminationObserver_{0};
    std::atomic<bool> observesTermination_{false};
    std::atomic<bool> loggingDisabled_{false};
    std::atomic<bool> noPrinting_{false};
    std::atomic<bool> startingOver_{false};
    std::optional<std::string> appName_;
    qf::OperationQueue* copiedQueue_ = nullptr;

    // Used by the write queue for each entry, on a cache line of its own.
    alignas(64) mutable std::mutex mutex_;
    std::shared_ptr<qf::LogFile> fileHandle_;
    std::atomic<std::uint64_t> bytesWritten_{0};

    qf::OperationQueue ownQueue_;

    // Changed by every caller and the write queue.
    alignas(64) std::atomic<std::uint64_t> bytesInQueue_{0};
};
