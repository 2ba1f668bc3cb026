// Calls that read like one thing and would do another. None of them may compile.

#include "util/alert/QFAlert.h"
#include "util/auth/QFAuthorization.h"
#include "util/files/QFFileManager.h"
#include "util/launchd/QFLaunchd.h"
#include "util/log/QFLog.h"
#include "util/paths/QFLocalPaths.h"
#include "util/task/QFTaskEx.h"

#include <string>

namespace {

using Path = std::string;

/// A truth value in the place of "may ask for a password", of a time-out, or of anything else that
/// has a type of its own.
template <class Wrong>
concept IsTakenByFiles = requires(const Path& path, Wrong wrong) {
    QFFileManager::trashFile(path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::trashDirectoryContents(path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::removeFile(path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::createDirectory(path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::moveFile(path, path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::copyFile(path, path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::compressFile(path, path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::touchFile(path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::waitForFileCreation(path, wrong);
};

template <class Wrong>
concept IsTakenByTasks = requires(const Path& path, const TaskArguments& none, Wrong wrong) {
    QFTaskEx::runTask(path, none, wrong);
}
|| requires(const Path& path, const TaskArguments& none, Wrong wrong) {
    QFTaskEx::dataFromTask(path, none, wrong);
}
|| requires(const Path& path, const TaskArguments& none, Wrong wrong) {
    QFTaskEx::dataFromTask(path, none, platform::Timeout(1), wrong, LogError::no);
}
|| requires(const Path& path, const TaskArguments& none, Wrong wrong) {
    QFTaskEx::stringFromTask(path, none, wrong);
}
|| requires(const Path& path, const TaskArguments& none, Wrong wrong) {
    QFTaskEx::stringFromTask(path, none, wrong, platform::Timeout(1));
}
|| requires(const Path& path, const TaskArguments& none, Wrong wrong) {
    QFTaskEx::terminationCodeFromTask(path, none, wrong);
};

template <class Wrong>
concept IsTakenByTheOthers = requires(const Path& path, Wrong wrong) {
    QFLocalPaths::isPathSystemDirectory(path, wrong);
}
|| requires(Wrong wrong) {
    QFLocalPaths::libraryDirectory(wrong);
}
|| requires(Wrong wrong) {
    QFAuthorization::sharedController(wrong);
}
|| requires(QFAuthorization& authorization, const Path& path, Wrong wrong) {
    authorization.authTrashFile(path, wrong);
}
|| requires(const Path& label, Wrong wrong) {
    QFLaunchd::removeJob(label, wrong, LaunchAgent::yes, ShouldAuth::no);
}
|| requires(const Path& label, Wrong wrong) {
    QFLaunchd::removeJob(label, Domain::user, wrong, ShouldAuth::no);
}
|| requires(const Path& label, Wrong wrong) {
    QFLaunchd::removeJob(label, Domain::user, LaunchAgent::yes, wrong);
}
|| requires(const Path& name, Wrong wrong) {
    QFLog::createNewLog(name, wrong);
}
|| requires(const Path& text, Wrong wrong) {
    QFAlert::alertSheetWithMessageText(text, text, text, text, text, nullptr, wrong);
}
|| requires(const Path& text, Wrong wrong) {
    QFAlert::timedAlertSheetWithMessageText(text, text, text, text, text, nullptr, wrong);
};

template <class Wrong>
constexpr bool isTrap = IsTakenByFiles<Wrong> || IsTakenByTasks<Wrong> || IsTakenByTheOthers<Wrong>;

static_assert(!isTrap<bool>);
static_assert(!isTrap<char>);
static_assert(!isTrap<std::nullptr_t>);
static_assert(!isTrap<const char*>);
static_assert(!isTrap<std::string>);

/// A time-out where the child's environment belongs.
template <class Wrong>
concept IsEnvironment = requires(const Path& path, const TaskArguments& none, TaskSlot& slot,
                                 Wrong wrong) {
    QFTaskEx::dataFromTask(path, none, slot, wrong);
};
static_assert(!IsEnvironment<int> && !IsEnvironment<double> && !IsEnvironment<bool>);

// The same calls as they are meant.
static_assert(IsTakenByFiles<ShouldAuth> && IsTakenByFiles<int>);
static_assert(IsTakenByTasks<TaskSlot&> && IsTakenByTasks<int>);
static_assert(IsTakenByTheOthers<Domain> && IsTakenByTheOthers<std::chrono::seconds>);
static_assert(IsEnvironment<platform::Value>);

} // namespace
