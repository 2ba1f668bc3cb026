#pragma once

#include "app/cli/CommandLine.h"

#include <string>

namespace cli {

/// The file, or standard output, that a report is written to, if one is wanted.
class ReportFile {
public:
    /// Throws qf::Exception "QFReportUnwritable", whose reason says why, if a relative report
    /// has no directory.
    explicit ReportFile(const Options& options);

    bool isWanted() const { return !path_.empty(); }

    /// Writes the document that says that the work is under way; not to standard output. Throws as
    /// the constructor does if that fails, or if something other than a file is at the path.
    void prepare(const std::string& document) const;

    /// Replaces the document. Does nothing if no report is wanted. Throws as the constructor does.
    void write(const std::string& document) const;

private:
    std::string path_;
};

} // namespace cli
