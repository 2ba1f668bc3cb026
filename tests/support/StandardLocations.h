#pragma once

#include "platform/Services.h"
#include "tests/support/PortDoubles.h"

#include <gtest/gtest.h>

#include <string>

/// A machine whose standard directories are all where one expects them, seen by an ordinary user
/// whose home directory is /home/someone.
class StandardLocations : public testing::Test {
protected:
    StandardLocations() {
        using enum qf::DirectoryKind;
        using enum qf::DomainMask;
        searchPaths.lists = {
            {{application, user}, {"/home/someone/Applications"}},
            {{application, local}, {"/Applications"}},
            {{adminApplication, user}, {"/home/someone/Applications/Utilities"}},
            {{adminApplication, local}, {"/Applications/Utilities"}},
            {{library, user}, {"/home/someone/Library"}},
            {{library, local}, {"/Library"}},
            {{library, qf::DomainMask::system}, {"/System/Library"}},
            {{documentation, user}, {"/home/someone/Library/Documentation"}},
            {{documentation, local}, {"/Library/Documentation"}},
            {{document, user}, {"/home/someone/Documents"}},
            {{desktop, user}, {"/home/someone/Desktop"}},
            {{caches, user}, {"/home/someone/Library/Caches"}},
            {{caches, local}, {"/Library/Caches"}},
            {{applicationSupport, user}, {"/home/someone/Library/Application Support"}},
            {{applicationSupport, local}, {"/Library/Application Support"}},
            {{movies, user}, {"/home/someone/Movies"}},
        };
    }

    FakeAccount account;
    FakeSearchPaths searchPaths;

private:
    qf::ScopedService<qf::UserAccount> accountScope_{account};
    qf::ScopedService<qf::SearchPaths> searchPathsScope_{searchPaths};
};
