// Copies one file to several places at once and reports whether each copy equals the source.

#include "ProgressLine.h"
#include "qf/platform/StartUp.h"
#include "qf/util/files/QFFileManager.h"
#include "qf/util/log/QFLog.h"

#include <CLI/CLI.hpp>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <string_view>
#include <system_error>

namespace {

namespace fs = std::filesystem;
using qf::Value;

constexpr int cancelledStatus = 130;

/// Set by Ctrl-C.
std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

// A second Ctrl-C ends the program at once.
extern "C" void interrupt(int signal) {
    interrupted = true;
    std::signal(signal, SIG_DFL);
}

struct Options {
    std::string source;
    std::vector<std::string> destinations;
    qf::VerificationType verification = qf::VerificationType::sha256;
    bool fromMedium = false;
    bool quiet = false;
};

void describe(CLI::App& parser, Options& options) {
    const std::map<std::string, qf::VerificationType> types{
        {"none", qf::VerificationType::none},
        {"md5", qf::VerificationType::md5},
        {"sha1", qf::VerificationType::sha1},
        {"sha256", qf::VerificationType::sha256},
        {"sha512", qf::VerificationType::sha512}};
    parser.add_option("SOURCE", options.source, "the file to copy")->required();
    parser
        .add_option("DESTINATION", options.destinations,
                    "a place for a copy: its path, or a folder, where it gets the source's name")
        ->required();
    parser
        .add_option("--verify", options.verification,
                    "compare what was written by none, md5, sha1, sha256 (as without this option) "
                    "or sha512")
        ->transform(CLI::CheckedTransformer(types, CLI::ignore_case).description(""));
    parser.add_flag("--from-medium", options.fromMedium,
                    "then read every copy again, from its medium");
    parser.add_flag("--quiet", options.quiet, "show no progress");
}

/// Returns the full path of each copy.
std::vector<std::string> fullPaths(const Options& options) {
    std::vector<std::string> paths;
    for (const auto& destination : options.destinations) {
        const auto path = fs::absolute(destination);
        paths.push_back(fs::is_directory(path) ? path / fs::path(options.source).filename() : path);
    }
    return paths;
}

/// The copy's progress and result.
struct Observation {
    std::shared_ptr<ProgressLine> progress;
    Value sourceDigest;
    Value digests;
};

std::shared_ptr<qf::FileCopyDelegate> delegateFor(Observation& observation) {
    auto delegate = std::make_shared<qf::FileCopyDelegate>();
    delegate->fileCopyBytesWritten = [line = observation.progress](auto bytes, const auto&) {
        line->report(bytes);
    };
    delegate->fileCopyShouldContinue = [](const auto&) { return !interrupted; };
    delegate->fileCopyFinished = [&observation](const auto& settings) {
        observation.sourceDigest = (*settings)["sourceChecksum"];
        observation.digests = (*settings)["destChecksums"];
    };
    return delegate;
}

std::string textOf(const Value& value) {
    const auto* text = value.as<std::string>();
    return text != nullptr ? *text : std::string();
}

/// Prints one line for the source and one for each copy, in the format of the digest programs.
void printDigests(const std::string& source, const std::vector<std::string>& copies,
                  const Observation& observation) {
    const auto* digests = observation.digests.as<Value::Array>();
    if (digests == nullptr) {
        return;
    }
    std::cout << textOf(observation.sourceDigest) << "  " << source << '\n';
    for (std::size_t number = 0; number < copies.size() && number < digests->size(); ++number) {
        std::cout << textOf((*digests)[number]) << "  " << copies[number] << '\n';
    }
}

/// Returns what is wrong with a copy; empty if nothing is, or all copies are incomplete.
std::string_view fault(qf::FileCopyOutcome outcome) {
    switch (outcome) {
    case qf::FileCopyOutcome::notWritten:
    case qf::FileCopyOutcome::different:
        return " is NOT what was read from the source.\n";
    case qf::FileCopyOutcome::notSynced:
        return " is NOT whole on its medium.\n";
    default:
        return "";
    }
}

int reportOutcome(const qf::FileCopyResult& result, const std::vector<std::string>& copies) {
    if (!result.succeeded && interrupted) {
        std::cerr << "Cancelled. What there is of these copies is incomplete:\n";
        for (const auto& copy : copies) {
            std::cerr << "  " << copy << '\n';
        }
        return cancelledStatus;
    }
    bool isGood = result.succeeded;
    for (std::size_t number = 0; number < copies.size(); ++number) {
        if (const auto what = fault(result.outcomes[number]); !what.empty()) {
            std::cerr << copies[number] << what;
            isGood = false;
        }
    }
    return isGood ? EXIT_SUCCESS : EXIT_FAILURE;
}

int copy(const Options& options) {
    const std::string source = fs::absolute(options.source);
    const auto copies = fullPaths(options);
    std::error_code unknown;
    const auto size = fs::file_size(source, unknown);
    Observation observation{std::make_shared<ProgressLine>(unknown ? 0 : size, options.quiet)};
    const auto result = QFFileManager::copyFileWithResult(
        source, copies,
        {.verificationType = options.verification,
         .fromMedium = options.fromMedium ? qf::FromMedium::yes : qf::FromMedium::no},
        delegateFor(observation), {}, {});
    observation.progress->end();
    if (result.succeeded) {
        printDigests(source, copies, observation);
    }
    return reportOutcome(result, copies);
}

} // namespace

int main(int argc, char** argv) {
    try {
        Options options;
        CLI::App parser("Copies a file to several places at once and verifies each copy.");
        describe(parser, options);
        CLI11_PARSE(parser, argc, argv)
        std::signal(SIGINT, interrupt);
        qf::installServices();
        QFLog::createNewLog("verified-copy");
        const int status = copy(options);
        QFLog::willTerminate();
        return status;
    } catch (const std::exception& exception) {
        std::cerr << exception.what() << '\n';
        return EXIT_FAILURE;
    }
}
