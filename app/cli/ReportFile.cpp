#include "app/cli/ReportFile.h"

#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/foundation/Exception.h"

#include <filesystem>
#include <iostream>
#include <system_error>

namespace cli {

namespace {

[[noreturn]] void throwUnwritable(const std::string& file, const std::string& why) {
    throw qf::Exception("QFReportUnwritable", "cannot write the report " + file + ": " + why);
}

/// Returns the report's absolute path, so that the working directory may change; empty if no report
/// is wanted.
std::string reportPath(const Options& options) {
    if (!options.report || options.report == standardOutput) {
        return options.report.value_or("");
    }
    std::error_code error;
    auto path = std::filesystem::absolute(*options.report, error);
    if (error) {
        throwUnwritable(*options.report, "the working folder does not exist");
    }
    return path.string();
}

} // namespace

ReportFile::ReportFile(const Options& options) : path_(reportPath(options)) {
}

void ReportFile::prepare(const std::string& document) const {
    if (path_ == standardOutput) {
        return;
    }
    const auto there = qf::service<qf::FileSystem>().attributesOfItem(path_);
    if (isWanted() && there && there->kind != qf::ItemKind::file) {
        throwUnwritable(path_, "the path leads to something other than a file");
    }
    write(document);
}

void ReportFile::write(const std::string& document) const {
    if (!isWanted()) {
        return;
    }
    if (path_ == standardOutput) {
        std::cout << document << std::flush;
        if (!std::cout) {
            throwUnwritable(path_, "standard output does not take it");
        }
        return;
    }
    const auto written = qf::service<qf::FileSystem>().writeAtomically(path_, document);
    if (!written) {
        throwUnwritable(path_, written.error().localizedDescription);
    }
}

} // namespace cli
