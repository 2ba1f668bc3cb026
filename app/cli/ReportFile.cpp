#include "app/cli/ReportFile.h"

#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/foundation/Exception.h"

#include <filesystem>
#include <system_error>

namespace cli {

namespace {

[[noreturn]] void throwUnwritable(const std::string& file, const std::string& why) {
    throw platform::Exception("QFReportUnwritable", "cannot write the report " + file + ": " + why);
}

/// Returns the report's absolute path, so that the working directory may change; empty if no report
/// is wanted.
std::string reportPath(const Options& options) {
    if (!options.report) {
        return {};
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
    const auto there = platform::service<platform::FileSystem>().attributesOfItem(path_);
    if (isWanted() && there && there->kind != platform::ItemKind::file) {
        throwUnwritable(path_, "the path leads to something other than a file");
    }
    write(document);
}

void ReportFile::write(const std::string& document) const {
    if (!isWanted()) {
        return;
    }
    const auto written = platform::service<platform::FileSystem>().writeAtomically(path_, document);
    if (!written) {
        throwUnwritable(path_, written.error().localizedDescription);
    }
}

} // namespace cli
