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
/// controller.
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
    platform::ScopedService<platform::UserAccount> accountScope_{account};
    platform::ScopedService<platform::SearchPaths> searchPathsScope_{searchPaths};
    platform::ScopedService<platform::Console> consoleScope_{console};
    platform::ScopedService<platform::FileSystem> fileSystemScope_{fileSystem};
    platform::ScopedService<platform::Workspace> workspaceScope_{workspace};
    platform::ScopedService<platform::ProcessLauncher> launcherScope_{launcher};
    platform::ScopedService<platform::AuthorizationServices> servicesScope_{services};
};
