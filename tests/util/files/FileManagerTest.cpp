#include "tests/util/files/FileManagerTest.h"

#include "tests/support/QueueGate.h"
#include "util/files/QFFileManager.h"
#include "util/log/QFLog.h"

#include <future>
#include <string>

namespace {

/// A family whose last parameter may be a time-out: a truth value or a character would choose that
/// member, which may ask for a password.
template <class Last>
concept SomeMemberTakes = requires(const std::string& path, Last last) {
    QFFileManager::removeFile(path, last);
}
|| requires(const std::string& path, Last last) {
    QFFileManager::copyFile(path, path, last);
}
|| requires(const std::string& path, Last last) {
    QFFileManager::waitForFileCreation(path, last);
};

static_assert(SomeMemberTakes<int> && SomeMemberTakes<double> && SomeMemberTakes<qf::ShouldAuth>);
static_assert(!SomeMemberTakes<bool> && !SomeMemberTakes<char>);

} // namespace

FileManagerTest::FileManagerTest() = default;

FileManagerTest::~FileManagerTest() {
    // The log reads the time on its own thread.
    QFLog::finishWriting();
}

void FileManagerTest::becomeMainThread() {
    applicationScope_.emplace(application);
}

bool FileManagerTest::endsBeforeTheLogIsWritten(const std::function<void()>& operation,
                                                std::chrono::milliseconds patience) {
    loggedLines();
    QueueGate gate(*QFLog::sharedController().writeQueue());
    const auto ended = std::async(std::launch::async, operation);
    const bool isEnded = ended.wait_for(patience) == std::future_status::ready;
    gate.open();
    ended.wait();
    return isEnded;
}

void FileManagerTest::refuseTheRight() {
    services.rightsStatus = qf::errAuthorizationCanceled;
}
