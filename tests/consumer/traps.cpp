// Calls that read like one thing and would do another. None of them may compile.

#include "qf/util/alert/QFAlert.h"
#include "qf/util/auth/QFAuthorization.h"
#include "qf/util/files/QFFileManager.h"
#include "qf/util/launchd/QFLaunchd.h"
#include "qf/util/log/QFLog.h"
#include "qf/util/paths/QFLocalPaths.h"
#include "qf/util/task/QFTaskEx.h"

#include <memory>
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
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::copyContentsOfDirectory(path, path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::filesMatchingWildcardPath(path, std::nullopt, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::copyFileWithProgress(path, {path}, wrong, nullptr, {}, {});
};

/// The same in the operations that say why they failed.
template <class Wrong>
concept IsTakenWithResult = requires(const Path& path, Wrong wrong) {
    QFFileManager::trashFileWithResult(path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::trashDirectoryContentsWithResult(path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::removeFileWithResult(path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::createDirectoryWithResult(path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::moveFileWithResult(path, path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::copyFileWithResult(path, path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::copyContentsOfDirectoryWithResult(path, path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::compressFileWithResult(path, path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::touchFileWithResult(path, wrong);
};

template <class Wrong>
concept IsTakenByTasks = requires(const Path& path, const qf::TaskArguments& none, Wrong wrong) {
    QFTaskEx::runTask(path, none, wrong);
}
|| requires(const Path& path, const qf::TaskArguments& none, Wrong wrong) {
    QFTaskEx::dataFromTask(path, none, wrong);
}
|| requires(const Path& path, const qf::TaskArguments& none, Wrong wrong) {
    QFTaskEx::dataFromTask(path, none, qf::Timeout(1), wrong, qf::LogError::no);
}
|| requires(const Path& path, const qf::TaskArguments& none, Wrong wrong) {
    QFTaskEx::stringFromTask(path, none, wrong);
}
|| requires(const Path& path, const qf::TaskArguments& none, Wrong wrong) {
    QFTaskEx::stringFromTask(path, none, wrong, qf::Timeout(1));
}
|| requires(const Path& path, const qf::TaskArguments& none, Wrong wrong) {
    QFTaskEx::stringFromTask(path, none, qf::TextEncoding::utf8, wrong);
}
|| requires(const Path& path, const qf::TaskArguments& none, Wrong wrong) {
    QFTaskEx::terminationCodeFromTask(path, none, wrong);
}
|| requires(QFTaskEx& runner, const Path& path, const qf::TaskArguments& none, Wrong wrong) {
    runner.runTaskOnRunner(path, none, wrong);
}
|| requires(QFTaskEx& runner, const Path& path, const qf::TaskArguments& none, Wrong wrong) {
    runner.dataFromTaskOnRunner(path, none, wrong);
}
|| requires(QFTaskEx& runner, const Path& path, const qf::TaskArguments& none, Wrong wrong) {
    runner.terminationCodeFromTaskOnRunner(path, none, wrong);
};

/// What is no list of arguments.
template <class Wrong>
concept IsArguments = requires(const Path& path, Wrong wrong) {
    QFTaskEx::runTask(path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFTaskEx::runTask(path, {wrong});
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
|| requires(QFAuthorization& authorization, const Path& path, Wrong wrong) {
    authorization.authTrashFolderContents(path, wrong);
}
|| requires(QFAuthorization& authorization, const Path& path, Wrong wrong) {
    authorization.authTrashFileWithResult(path, wrong);
}
|| requires(const Path& label, Wrong wrong) {
    QFLaunchd::removeJob(label, wrong, qf::LaunchAgent::yes, qf::ShouldAuth::no);
}
|| requires(const Path& label, Wrong wrong) {
    QFLaunchd::removeJob(label, qf::Domain::user, wrong, qf::ShouldAuth::no);
}
|| requires(const Path& label, Wrong wrong) {
    QFLaunchd::removeJob(label, qf::Domain::user, qf::LaunchAgent::yes, wrong);
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
constexpr bool isTrap = IsTakenByFiles<Wrong> || IsTakenWithResult<Wrong> ||
                        IsTakenByTasks<Wrong> || IsTakenByTheOthers<Wrong>;

static_assert(!isTrap<bool>);
static_assert(!isTrap<char>);
static_assert(!isTrap<std::nullptr_t>);
static_assert(!isTrap<const char*>);
static_assert(!isTrap<std::string>);

/// What is no text where a text belongs, alone or where it may be missing.
template <class Wrong>
concept IsText = requires(Wrong wrong) {
    QFFileManager::removeFile(wrong);
}
|| requires(Wrong wrong) {
    QFFileManager::touchFile(wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::moveFile(path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::copyFile(path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::waitForFileWrites(path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::filesMatchingWildcardPath(path, wrong);
}
|| requires(QFAuthorization& authorization, Wrong wrong) {
    authorization.authRemoveFile(wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFTaskEx::runTask(wrong, {path});
}
|| requires(Wrong wrong) {
    QFLocalPaths::isPathSystemDirectory(wrong);
}
|| requires(Wrong wrong) {
    QFLog::createNewLog(wrong);
}
|| requires(const qf::Value::Dictionary& settings, Wrong wrong) {
    QFLaunchd::startLaunchAgent(wrong, settings, qf::Domain::user);
};
static_assert(IsText<const char*> && IsText<std::string>);
static_assert(!IsText<bool> && !IsText<char> && !IsText<int> && !IsText<double>);

static_assert(!IsArguments<bool> && !IsArguments<char> && !IsArguments<int>);
static_assert(!IsArguments<std::nullptr_t>);

// A null pointer is a text for C++20's library, which throws; from C++23 on it is none.
#if __cplusplus > 202002L
static_assert(!IsText<std::nullptr_t>);
#endif

/// A null pointer is a missing text of an alert, and nothing else is one by mistake.
template <class Wrong>
concept IsTextOfAnAlert = requires(Wrong wrong) {
    QFAlert::alertSheetWithMessageText(wrong, wrong, nullptr);
};
static_assert(IsTextOfAnAlert<std::nullptr_t> && IsTextOfAnAlert<const char*> &&
              IsTextOfAnAlert<std::nullopt_t> && IsTextOfAnAlert<std::string>);
static_assert(!IsTextOfAnAlert<bool> && !IsTextOfAnAlert<char> && !IsTextOfAnAlert<int>);

/// What decides between a tool that is waited for and one that is given a content.
template <class Third>
concept IsTakenByAuthExecTask = requires(QFAuthorization& authorization, const Path& path,
                                         Third third) {
    authorization.authExecTask(path, {path}, third);
};
static_assert(IsTakenByAuthExecTask<qf::Async> && IsTakenByAuthExecTask<const char*>);
static_assert(!IsTakenByAuthExecTask<bool> && !IsTakenByAuthExecTask<int> &&
              !IsTakenByAuthExecTask<char> && !IsTakenByAuthExecTask<std::nullptr_t>);

/// What is no format of the log.
template <class Wrong>
concept IsFormat = requires(Wrong wrong) {
    QFLog::appendLog(wrong);
};
static_assert(!IsFormat<bool> && !IsFormat<char> && !IsFormat<int>);

/// What is no delegate of a copy or a digest.
template <class Wrong>
concept IsDelegate = requires(const Path& path, Wrong wrong) {
    QFFileManager::md5HashForFile(path, wrong);
}
|| requires(const Path& path, Wrong wrong) {
    QFFileManager::copyFileWithProgress(path, path, wrong, {});
};
static_assert(IsDelegate<std::nullptr_t>);
static_assert(!IsDelegate<bool> && !IsDelegate<char> && !IsDelegate<int> &&
              !IsDelegate<const char*>);

/// A time-out where the child's environment belongs.
template <class Wrong>
concept IsEnvironment = requires(const Path& path, const qf::TaskArguments& none,
                                 qf::TaskSlot& slot, Wrong wrong) {
    QFTaskEx::dataFromTask(path, none, slot, wrong);
};
static_assert(!IsEnvironment<int> && !IsEnvironment<double> && !IsEnvironment<bool>);

/// Two literals in braces, which a text takes for its beginning and its end.
template <class Delegate>
concept TakesLiteralsInBraces = requires(const Path& path, const Delegate& delegate) {
    QFFileManager::copyFileWithProgress(path, {"/a", "/b"}, delegate, {});
};
static_assert(!TakesLiteralsInBraces<std::shared_ptr<qf::FileCopyDelegate>>);

// The same calls as they are meant.
static_assert(IsTakenByFiles<qf::ShouldAuth> && IsTakenByFiles<int>);
static_assert(IsTakenWithResult<qf::ShouldAuth> && IsTakenWithResult<int>);
static_assert(IsTakenByTasks<qf::TaskSlot&> && IsTakenByTasks<int>);
static_assert(IsTakenByTheOthers<qf::Domain> && IsTakenByTheOthers<std::chrono::seconds>);
static_assert(IsEnvironment<qf::Value>);

} // namespace
