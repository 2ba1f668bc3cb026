#pragma once

#include "app/records/RunRecord.h"
#include "platform/FileStreams.h"
#include "platform/foundation/Result.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace records {

/// The file of a record that is open for adding lines. Not shared between threads.
class RecordFile {
public:
    explicit RecordFile(std::unique_ptr<qf::FileStream> stream) : stream_(std::move(stream)) {}

    /// Adds a line. Returns whether all of it is in the file; of one that is not, nothing stays
    /// that could be taken for a line.
    bool append(std::string_view line);

    /// Waits until all lines are on the disk.
    qf::Result<void, qf::SystemError> sync() { return stream_->sync(); }

private:
    std::unique_ptr<qf::FileStream> stream_;
};

/// The records of the user's runs, a file for each, which nobody else may read. One thread at a
/// time for each record.
class RunRecords {
public:
    /// The records are in the directory, which need not exist.
    explicit RunRecords(std::string directory) : directory_(std::move(directory)) {}

    /// Returns the directory for the current user's records.
    static std::string usersDirectory();

    /// Returns the numbers of the records, the newest first. Throws qf::Exception
    /// "QFRecordUnusable" if their directory cannot be read.
    std::vector<unsigned> numbers() const;

    /// Returns the path of the record with this number.
    std::string file(unsigned number) const;

    /// Returns the name of the copy of a job's file that is kept beside a run's record, for what a
    /// record does not have: its extended attributes and access list.
    static std::string keptFile(unsigned number, const std::string& jobFile);

    /// The name of a file that does not exist, except while a new one is made.
    static constexpr const char* unfinishedFile = ".new";

    /// Holds the directory of the records open. A link in its place, or in place of the program's
    /// own directory around it, is not followed.
    qf::Result<std::unique_ptr<qf::HeldDirectory>> hold(qf::MissingDirectories missing) const;

    /// Returns a record. Throws qf::Exception "QFRecordUnusable" if it does not exist or
    /// cannot be read, as parsedRecord() does with the file's path before the line.
    RunRecord read(unsigned number) const;

    /// Returns the records to undo together: that of the newest run that took something away, and
    /// those of the runs directly before it that it has finished, because they were killed or left
    /// something in place. The newest first; empty if there is none. Throws as read() does.
    std::vector<RunRecord> lastUninstall() const;

    /// Makes the file of a new record, gives the record its number, and writes its first line. On
    /// failure returns the reason in the user's words.
    qf::Result<RecordFile, std::string> create(RunRecord& record) const;

    /// Records that all that the run took is back or deleted. A failure is ignored: the next
    /// attempt finds nothing to do.
    void close(RunRecord& record) const;

private:
    std::string directory_;
};

/// Returns the content of a file that is no link; nullopt if it cannot be read or is larger than
/// 16 MiB.
std::optional<std::string> contentOfFile(const std::string& file);

/// Returns whether there is a file itself at the path, no link.
bool isFile(const std::string& path);

} // namespace records
