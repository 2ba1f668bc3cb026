#include "tests/support/DescribedMachine.h"

#include "tests/support/TestClock.h"
#include "util/auth/QFAuthorization.h"

DescribedMachine::DescribedMachine() {
    using qf::DirectoryKind;
    using qf::DomainMask;
    TestClock::install();
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
