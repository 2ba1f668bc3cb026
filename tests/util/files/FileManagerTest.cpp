#include "tests/util/files/FileManagerTest.h"

#include "util/log/QFLog.h"

FileManagerTest::FileManagerTest() = default;

FileManagerTest::~FileManagerTest() {
    // The log reads the time on its own thread.
    QFLog::finishWriting();
}

void FileManagerTest::becomeMainThread() {
    applicationScope_.emplace(application);
}

void FileManagerTest::refuseTheRight() {
    services.rightsStatus = platform::errAuthorizationCanceled;
}
