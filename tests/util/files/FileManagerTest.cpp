#include "tests/util/files/FileManagerTest.h"

#include "util/log/QFLog.h"

FileManagerTest::FileManagerTest() = default;

FileManagerTest::~FileManagerTest() {
    // The log asks for the time on a thread of its own.
    QFLog::finishWriting();
}

void FileManagerTest::becomeMainThread() {
    applicationScope_.emplace(application);
}

void FileManagerTest::refuseTheRight() {
    services.rightsStatus = platform::errAuthorizationCanceled;
}
