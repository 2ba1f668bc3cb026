#include "tests/support/DescribedMachine.h"

#include "util/auth/QFAuthorization.h"

std::tm StandingClock::now() {
    return {.tm_sec = 59, .tm_min = 59, .tm_hour = 23, .tm_mday = 31, .tm_mon = 11, .tm_year = 123};
}

DescribedMachine::DescribedMachine() {
    using platform::DirectoryKind;
    using platform::DomainMask;
    searchPaths.lists = {
        {{DirectoryKind::application, DomainMask::local}, {"/Applications"}},
        {{DirectoryKind::library, DomainMask::user}, {"/home/someone/Library"}},
        {{DirectoryKind::library, DomainMask::local}, {"/Library"}},
    };
    loggedLines();
}

DescribedMachine::~DescribedMachine() = default;

void DescribedMachine::TearDown() {
    QFAuthorization::sharedController().dealloc();
}
