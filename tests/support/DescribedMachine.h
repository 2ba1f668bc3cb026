#pragma once

#include "platform/Services.h"
#include "tests/support/AuthorizationDouble.h"
#include "tests/support/FileSystemDoubles.h"
#include "tests/support/LoggedLines.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/ProcessLauncherDouble.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

/// A machine that consists only of doubles, seen by an ordinary user whose home directory is
/// /home/someone; nothing of the real one is read or changed. Each test has its own authorization
/// controller. MachineOnDisk, for the records of runs, has real files instead.
class DescribedMachine : public testing::Test {
protected:
    using Lines = std::vector<std::string>;

    DescribedMachine();
    ~DescribedMachine() override;
    void TearDown() override;

    /// Makes the process run as the superuser.
    void becomeSuperuser() { account.userId = 0; }

    FakeAccount account;
    FakeSearchPaths searchPaths;
    RecordingConsole console;
    DescribedFileSystem fileSystem;
    RecordingWorkspace workspace;
    RecordingProcessLauncher launcher{fileSystem};
    RecordingAuthorizationServices services;

private:
    qf::ScopedService<qf::UserAccount> accountScope_{account};
    qf::ScopedService<qf::SearchPaths> searchPathsScope_{searchPaths};
    qf::ScopedService<qf::Console> consoleScope_{console};
    qf::ScopedService<qf::FileSystem> fileSystemScope_{fileSystem};
    qf::ScopedService<qf::Workspace> workspaceScope_{workspace};
    qf::ScopedService<qf::ProcessLauncher> launcherScope_{launcher};
    qf::ScopedService<qf::AuthorizationServices> servicesScope_{services};
};
