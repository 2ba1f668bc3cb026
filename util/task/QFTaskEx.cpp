#include "util/task/QFTaskEx.h"

#include "platform/ProcessLauncher.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Format.h"
#include "util/log/QFLog.h"
#include "util/task/TaskEnvironment.h"

#include <new>
#include <utility>

using platform::ChildStream;
using platform::Data;
using platform::Process;
using platform::ProcessDescription;
using platform::TextEncoding;
using platform::Value;

namespace {

constexpr const char* notExecutable = "Error: %@ is not executable";
constexpr const char* exceptionRunningTask = "Exception running task %@: %@";

bool isTool(const std::string& path) {
    return platform::service<platform::ProcessLauncher>().canLaunch(path) &&
           !platform::service<platform::Workspace>().isFilePackage(path);
}

/// Returns a child whose output is discarded.
std::shared_ptr<Process> quietTask(const std::string& path, const TaskArguments& arguments) {
    ProcessDescription description;
    description.launchPath = path;
    description.arguments = arguments.list();
    description.standardOutput = ChildStream::nullDevice();
    description.standardError = ChildStream::nullDevice();
    return std::make_shared<Process>(std::move(description));
}

/// Returns a child whose output goes where the flags say, and which never gets any input.
std::shared_ptr<Process> collectedTask(const std::string& path, const TaskArguments& arguments,
                                       const Value& environment, LogOutput logOutput,
                                       LogError logError) {
    ProcessDescription description;
    description.launchPath = path;
    description.arguments = arguments.list();
    description.environment = taskEnvironment(environment);
    const bool collectsOutput = logOutput == LogOutput::yes;
    const bool collectsErrors = logError == LogError::yes;
    auto pipes = platform::service<platform::ProcessLauncher>().makePipes(
        1U + (collectsOutput ? 1U : 0U) + (collectsErrors ? 1U : 0U));
    description.standardInput = ChildStream::through(pipes.front());
    description.standardOutput =
        collectsOutput ? ChildStream::through(pipes.at(1)) : ChildStream::inherited();
    description.standardError =
        collectsErrors ? ChildStream::through(pipes.back()) : ChildStream::nullDevice();
    return std::make_shared<Process>(std::move(description));
}

void launch(const std::shared_ptr<Process>& child, TaskSlot& task) {
    task.set(child);
    child->launch();
    task.expectLaunch(false);
}

/// Reads standard output to its end before it reads standard error at all; either pipe may be null.
Data readToEnd(platform::Pipe* output, platform::Pipe* error) {
    Data outputData;
    Data errorData;
    for (;;) {
        if (output != nullptr && output->appendAvailable(outputData.bytes)) {
            continue;
        }
        if (error == nullptr || !error->appendAvailable(errorData.bytes)) {
            break;
        }
    }
    for (auto* pipe : {output, error}) {
        if (pipe != nullptr) {
            pipe->closeReadEnd();
        }
    }
    if (outputData.bytes.empty()) {
        return errorData;
    }
    return outputData;
}

/// As readToEnd(). If the output cannot be read to its end, asks the child to terminate.
Data outputOf(const Process& child) {
    const auto& output = child.description().standardOutput.pipe();
    const auto& error = child.description().standardError.pipe();
    try {
        return readToEnd(output.get(), error.get());
    } catch (const platform::Exception&) {
        child.terminate();
        throw;
    }
}

/// Returns the empty string for no data; no value if the data is not text, or too long for the
/// memory.
std::optional<std::string> decoded(const std::optional<Data>& data, TextEncoding encoding) {
    try {
        return data ? platform::decodedText(*data, encoding) : std::string();
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

} // namespace

bool QFTaskEx::runTask(const std::string& path, const TaskArguments& arguments) {
    TaskSlot none;
    return runTask(path, arguments, none);
}

bool QFTaskEx::runTask(const std::string& path, const TaskArguments& arguments, TaskSlot& task) {
    if (path.starts_with('/') && !isTool(path)) {
        QFLog::appendLogAndPrint(notExecutable, path);
        return false;
    }
    try {
        const auto child = quietTask(path, arguments);
        launch(child, task);
        child->waitUntilExit();
        return true;
    } catch (const platform::Exception& exception) {
        QFLog::appendLog(exceptionRunningTask, path, exception.reason());
        return false;
    }
}

std::shared_ptr<Process> QFTaskEx::runTaskAndReturn(const std::string& path,
                                                    const TaskArguments& arguments) {
    if (path.empty() || !isTool(path)) {
        // Formatted twice on purpose: what looks like a directive in the path is treated as one.
        QFLog::appendLogAndPrint(platform::format(notExecutable, path));
        return nullptr;
    }
    auto child = quietTask(path, arguments);
    child->launch();
    return child;
}

std::optional<Data> QFTaskEx::dataFromTask(const std::string& path, const TaskArguments& arguments,
                                           TaskSlot& task) {
    return dataFromTask(path, arguments, task, Value());
}

std::optional<Data> QFTaskEx::dataFromTask(const std::string& path, const TaskArguments& arguments,
                                           TaskSlot& task, const Value& environment) {
    return dataFromTask(path, arguments, task, environment, LogOutput::yes);
}

std::optional<Data> QFTaskEx::dataFromTask(const std::string& path, const TaskArguments& arguments,
                                           TaskSlot& task, const Value& environment,
                                           LogOutput logOutput) {
    return dataFromTask(path, arguments, task, environment, logOutput, LogError::yes);
}

std::optional<Data> QFTaskEx::dataFromTask(const std::string& path, const TaskArguments& arguments,
                                           TaskSlot& task, const Value& environment,
                                           LogOutput logOutput, LogError logError) {
    try {
        // An executable tool exists; an existence check alone would miss a tool that a stand-in
        // replaces.
        if (!isTool(path)) {
            QFLog::appendLogAndPrint(notExecutable, path);
            return std::nullopt;
        }
        const auto child = collectedTask(path, arguments, environment, logOutput, logError);
        launch(child, task);
        return outputOf(*child);
    } catch (const platform::Exception& exception) {
        QFLog::appendLogAndPrint(exceptionRunningTask, path, exception.reason());
        return std::nullopt;
    }
}

std::optional<std::string> QFTaskEx::stringFromTask(const std::string& path,
                                                    const TaskArguments& arguments) {
    TaskSlot none;
    return stringFromTask(path, arguments, TextEncoding::ascii, none);
}

std::optional<std::string>
QFTaskEx::stringFromTask(const std::string& path, const TaskArguments& arguments, TaskSlot& task) {
    return stringFromTask(path, arguments, TextEncoding::ascii, task);
}

std::optional<std::string> QFTaskEx::stringFromTask(const std::string& path,
                                                    const TaskArguments& arguments,
                                                    TextEncoding encoding, TaskSlot& task) {
    return decoded(dataFromTask(path, arguments, task), encoding);
}

std::optional<std::string> QFTaskEx::stringFromTask(const std::string& path,
                                                    const TaskArguments& arguments,
                                                    platform::Timeout timeout) {
    return stringFromTask(path, arguments, TextEncoding::ascii, timeout);
}

std::optional<std::string> QFTaskEx::stringFromTask(const std::string& path,
                                                    const TaskArguments& arguments,
                                                    TextEncoding encoding,
                                                    platform::Timeout timeout) {
    return decoded(dataFromTask(path, arguments, timeout), encoding);
}

std::optional<std::string> QFTaskEx::stringFromTask(const std::string& path,
                                                    const TaskArguments& arguments,
                                                    TextEncoding encoding,
                                                    platform::Timeout timeout, LogOutput logOutput,
                                                    LogError logError) {
    return decoded(dataFromTask(path, arguments, timeout, logOutput, logError), encoding);
}

int QFTaskEx::terminationCodeFromTask(const std::string& path, const TaskArguments& arguments) {
    TaskSlot none;
    return terminationCodeFromTask(path, arguments, none);
}

int QFTaskEx::terminationCodeFromTask(const std::string& path, const TaskArguments& arguments,
                                      TaskSlot& task) {
    if (!isTool(path)) {
        QFLog::appendLogAndPrint(notExecutable, path);
        return -1;
    }
    const auto child = quietTask(path, arguments);
    launch(child, task);
    child->waitUntilExit();
    return child->terminationStatus();
}
