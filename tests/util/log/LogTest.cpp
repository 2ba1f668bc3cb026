#include "tests/util/log/LogTest.h"

LogTest::LogTest() {
    using namespace qf;
    searchPaths.lists[{DirectoryKind::library, DomainMask::user}] = {machine / "home/Library"};
    searchPaths.lists[{DirectoryKind::library, DomainMask::local}] = {machine / "Library"};
    account.home = machine / "home";
    log.setAppName(std::nullopt);
    log.setFileHandle(nullptr);
    log.setBytesWritten(0);
    log.setBytesInQueue(0);
    log.setLoggingDisabled(false);
    log.setNoPrinting(false);
    log.setWriteQueue(&queue);
}

LogTest::~LogTest() {
    queue.waitUntilAllOperationsAreFinished();
}
