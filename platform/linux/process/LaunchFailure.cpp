#include "platform/linux/process/LaunchFailure.h"

#include "platform/foundation/Text.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <optional>
#include <string_view>

namespace qf::native {

namespace {

constexpr const char* invalidArgument = exception_name::invalidArgument;
constexpr const char* generic = exception_name::generic;

/// Returns what the reason says after the path if the error number alone explains the failure.
struct KnownFailure {
    Errno error;
    const char* name;
    const char* reason;
};

constexpr std::array failures{
    KnownFailure{Errno(E2BIG), invalidArgument,
                 "its arguments and environment are longer than the system allows"},
    KnownFailure{Errno(EAGAIN), generic,
                 "the system or the user has no process left; close other programs"},
    KnownFailure{Errno(ENOMEM), generic, "there is not enough memory for another process"},
    KnownFailure{Errno(EMFILE), generic, "the program has too many files open"},
    KnownFailure{Errno(ENFILE), generic, "the system has too many files open"},
    KnownFailure{Errno(ENOTDIR), invalidArgument, "a part of its path is a file, not a folder"},
    KnownFailure{Errno(ELOOP), invalidArgument, "its path leads through too many links"},
    KnownFailure{Errno(ENAMETOOLONG), invalidArgument, "its path is longer than the system allows"},
    KnownFailure{Errno(ETXTBSY), invalidArgument, "the file is still being written"},
    KnownFailure{Errno(ENOEXEC), invalidArgument,
                 "the file is not a program that this machine can run"},
};

std::string sentence(const std::string& path, std::string_view reason) {
    return text::printable(path) + " could not be launched: " + std::string(reason);
}

/// Returns the interpreter that a script's first line names.
std::optional<std::string> interpreterOf(const std::string& program) {
    std::ifstream file(program, std::ios::binary);
    std::array<char, 256> start{};
    file.read(start.data(), start.size());
    std::string_view line(start.data(), static_cast<std::size_t>(file.gcount()));
    if (!line.starts_with("#!")) {
        return std::nullopt;
    }
    line = line.substr(2, line.find('\n') - 2);
    line.remove_prefix(std::min(line.find_first_not_of(" \t\r"), line.size()));
    return std::string(line.substr(0, line.find_first_of(" \t\r")));
}

/// Returns why the system found something missing.
std::string missingPart(const std::string& program) {
    struct stat item {};
    if (::lstat(program.c_str(), &item) != 0) {
        return "no file exists at that path";
    }
    if (::stat(program.c_str(), &item) != 0) {
        return "the link leads to nothing";
    }
    const auto interpreter = interpreterOf(program);
    return interpreter ? "its interpreter \"" + text::printable(*interpreter) + "\" does not exist"
                       : "the loader or interpreter that the program needs does not exist";
}

/// Returns why the system did not allow the file to be run.
std::string forbiddenPart(const std::string& program) {
    struct stat item {};
    if (::stat(program.c_str(), &item) != 0) {
        return "a folder on its path may not be entered";
    }
    if (S_ISDIR(item.st_mode)) {
        return "it is a folder, not a program";
    }
    const auto interpreter = interpreterOf(program);
    if (::access(program.c_str(), X_OK) == 0 && interpreter) {
        return "its interpreter \"" + text::printable(*interpreter) + "\" is not executable";
    }
    return "the file is not executable";
}

void refuseZeroByte(const std::string& text, const std::string& what) {
    if (text.find('\0') != std::string::npos) {
        throw Exception(invalidArgument, what + " contains a zero byte: " + text::printable(text));
    }
}

void checkEnvironment(const std::map<std::string, std::string>& environment) {
    for (const auto& [name, value] : environment) {
        refuseZeroByte(name, "the name of an environment variable");
        refuseZeroByte(value, "the environment variable " + name);
        if (name.empty() || name.find('=') != std::string::npos) {
            throw Exception(invalidArgument, "an environment variable cannot have the name \"" +
                                                 text::printable(name) + "\"");
        }
    }
}

std::string systemDescription(Errno error) {
    const char* description = ::strerrordesc_np(error.number());
    return description != nullptr ? description : std::to_string(error.number());
}

} // namespace

void checkDescription(const ProcessDescription& description) {
    if (description.launchPath.empty()) {
        throw Exception(invalidArgument, "the task has no launch path");
    }
    refuseZeroByte(description.launchPath, "the launch path");
    for (std::size_t index = 0; index < description.arguments.size(); ++index) {
        refuseZeroByte(description.arguments[index], "argument " + std::to_string(index + 1));
    }
    if (description.environment) {
        checkEnvironment(*description.environment);
    }
}

Exception launchFailure(Errno error, const std::string& launchPath, const std::string& program) {
    if (error.is(ENOENT)) {
        return {invalidArgument, sentence(launchPath, missingPart(program))};
    }
    if (error.is(EACCES)) {
        return {invalidArgument, sentence(launchPath, forbiddenPart(program))};
    }
    const auto* const known = std::ranges::find(failures, error, &KnownFailure::error);
    if (known != failures.end()) {
        return {known->name, sentence(launchPath, known->reason)};
    }
    return {invalidArgument, sentence(launchPath, systemDescription(error))};
}

Exception resourceFailure(Errno error, const std::string& name, const std::string& what) {
    return {name, "the system has no " + what + " left: " + systemDescription(error)};
}

} // namespace qf::native
