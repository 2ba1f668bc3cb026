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

using qf::ChildStream;
using qf::Data;
using qf::Process;
using qf::ProcessDescription;
using qf::TextEncoding;
using qf::Value;

namespace {

constexpr const char* notExecutable = "Error: %@ is not executable";
constexpr const char* exceptionRunningTask = "Exception running task %@: %@";

bool isTool(const std::string& path) {
    return qf::service<qf::ProcessLauncher>().canLaunch(path) &&
           !qf::service<qf::Workspace>().isFilePackage(path);
}

/// Returns a child whose output is discarded.
std::shared_ptr<Process> quietTask(const std::string& path, const qf::TaskArguments& arguments) {
    ProcessDescription description;
    description.launchPath = path;
    description.arguments = arguments.list();
    description.standardOutput = ChildStream::nullDevice();
    description.standardError = ChildStream::nullDevice();
    return std::make_shared<Process>(std::move(description));
}

/// Returns a child whose output goes where the flags say, and which never gets any input.
std::shared_ptr<Process> collectedTask(const std::string& path, const qf::TaskArguments& arguments,
                                       const Value& environment, qf::LogOutput logOutput,
                                       qf::LogError logError) {
    ProcessDescription description;
    description.launchPath = path;
    description.arguments = arguments.list();
    description.environment = taskEnvironment(environment);
    const bool collectsOutput = logOutput == qf::LogOutput::yes;
    const bool collectsErrors = logError == qf::LogError::yes;
    auto pipes = qf::service<qf::ProcessLauncher>().makePipes(1U + (collectsOutput ? 1U : 0U) +
                                                              (collectsErrors ? 1U : 0U));
    description.standardInput = ChildStream::through(pipes.front());
    description.standardOutput =
        collectsOutput ? ChildStream::through(pipes.at(1)) : ChildStream::inherited();
    description.standardError =
        collectsErrors ? ChildStream::through(pipes.back()) : ChildStream::nullDevice();
    return std::make_shared<Process>(std::move(description));
}

void launch(const std::shared_ptr<Process>& child, qf::TaskSlot& task) {
    task.set(child);
    child->launch();
    task.expectLaunch(false);
}

/// Reads standard output to its end before it reads standard error at all; either pipe may be null.
Data readToEnd(qf::Pipe* output, qf::Pipe* error) {
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
    } catch (const qf::Exception&) {
        child.terminate();
        throw;
    }
}

/// Returns the empty string for no data; no value if the data is not text, or too long for the
/// memory.
std::optional<std::string> decoded(const std::optional<Data>& data, TextEncoding encoding) {
    try {
        return data ? qf::decodedText(*data, encoding) : std::string();
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

qf::Unexpected<qf::Error> notRun(const std::string& why) {
    return qf::Unexpected(qf::Error{.domain = "QFTaskErrorDomain", .localizedDescription = why});
}

} // namespace

bool QFTaskEx::runTask(const std::string& path, const qf::TaskArguments& arguments) {
    qf::TaskSlot none;
    return runTask(path, arguments, none);
}

bool QFTaskEx::runTask(const std::string& path, const qf::TaskArguments& arguments,
                       qf::TaskSlot& task) {
    return runTaskWithResult(path, arguments, task).ok();
}

qf::Result<void> QFTaskEx::runTaskWithResult(const std::string& path,
                                             const qf::TaskArguments& arguments,
                                             qf::TaskSlot& task) {
    if (path.starts_with('/') && !isTool(path)) {
        QFLog::appendLogAndPrint(notExecutable, path);
        return notRun(qf::format(notExecutable, path));
    }
    try {
        const auto child = quietTask(path, arguments);
        launch(child, task);
        child->waitUntilExit();
        return {};
    } catch (const qf::Exception& exception) {
        QFLog::appendLog(exceptionRunningTask, path, exception.reason());
        return notRun(exception.reason());
    }
}

std::shared_ptr<Process> QFTaskEx::runTaskAndReturn(const std::string& path,
                                                    const qf::TaskArguments& arguments) {
    if (path.empty() || !isTool(path)) {
        // Formatted twice on purpose: what looks like a directive in the path is treated as one.
        QFLog::appendLogAndPrint(qf::format(notExecutable, path));
        return nullptr;
    }
    auto child = quietTask(path, arguments);
    child->launch();
    return child;
}

std::optional<Data> QFTaskEx::dataFromTask(const std::string& path,
                                           const qf::TaskArguments& arguments, qf::TaskSlot& task) {
    return dataFromTask(path, arguments, task, Value());
}

std::optional<Data> QFTaskEx::dataFromTask(const std::string& path,
                                           const qf::TaskArguments& arguments, qf::TaskSlot& task,
                                           const Value& environment) {
    return dataFromTask(path, arguments, task, environment, qf::LogOutput::yes);
}

std::optional<Data> QFTaskEx::dataFromTask(const std::string& path,
                                           const qf::TaskArguments& arguments, qf::TaskSlot& task,
                                           const Value& environment, qf::LogOutput logOutput) {
    return dataFromTask(path, arguments, task, environment, logOutput, qf::LogError::yes);
}

std::optional<Data> QFTaskEx::dataFromTask(const std::string& path,
                                           const qf::TaskArguments& arguments, qf::TaskSlot& task,
                                           const Value& environment, qf::LogOutput logOutput,
                                           qf::LogError logError) {
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
    } catch (const qf::Exception& exception) {
        QFLog::appendLogAndPrint(exceptionRunningTask, path, exception.reason());
        return std::nullopt;
    }
}

std::optional<std::string> QFTaskEx::stringFromTask(const std::string& path,
                                                    const qf::TaskArguments& arguments) {
    qf::TaskSlot none;
    return stringFromTask(path, arguments, TextEncoding::ascii, none);
}

std::optional<std::string> QFTaskEx::stringFromTask(const std::string& path,
                                                    const qf::TaskArguments& arguments,
                                                    qf::TaskSlot& task) {
    return stringFromTask(path, arguments, TextEncoding::ascii, task);
}

std::optional<std::string> QFTaskEx::stringFromTask(const std::string& path,
                                                    const qf::TaskArguments& arguments,
                                                    TextEncoding encoding, qf::TaskSlot& task) {
    return decoded(dataFromTask(path, arguments, task), encoding);
}

std::optional<std::string> QFTaskEx::stringFromTask(const std::string& path,
                                                    const qf::TaskArguments& arguments,
                                                    qf::Timeout timeout) {
    return stringFromTask(path, arguments, TextEncoding::ascii, timeout);
}

std::optional<std::string> QFTaskEx::stringFromTask(const std::string& path,
                                                    const qf::TaskArguments& arguments,
                                                    TextEncoding encoding, qf::Timeout timeout) {
    return decoded(dataFromTask(path, arguments, timeout), encoding);
}

std::optional<std::string> QFTaskEx::stringFromTask(const std::string& path,
                                                    const qf::TaskArguments& arguments,
                                                    TextEncoding encoding, qf::Timeout timeout,
                                                    qf::LogOutput logOutput,
                                                    qf::LogError logError) {
    return decoded(dataFromTask(path, arguments, timeout, logOutput, logError), encoding);
}

int QFTaskEx::terminationCodeFromTask(const std::string& path, const qf::TaskArguments& arguments) {
    qf::TaskSlot none;
    return terminationCodeFromTask(path, arguments, none);
}

int QFTaskEx::terminationCodeFromTask(const std::string& path, const qf::TaskArguments& arguments,
                                      qf::TaskSlot& task) {
    if (!isTool(path)) {
        QFLog::appendLogAndPrint(notExecutable, path);
        return -1;
    }
    const auto child = quietTask(path, arguments);
    launch(child, task);
    child->waitUntilExit();
    return child->terminationStatus();
}
