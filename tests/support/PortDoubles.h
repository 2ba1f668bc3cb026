#pragma once

#include "platform/Application.h"
#include "platform/Console.h"
#include "platform/Inhibitors.h"
#include "platform/SearchPaths.h"
#include "platform/UserAccount.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// Records the output, in order.
class RecordingConsole : public qf::Console {
public:
    void systemLog(std::string_view message) override;
    void print(std::string_view text) override;

    std::vector<std::string> systemLogLines() const;
    std::string printed() const;

private:
    mutable std::mutex mutex_;
    std::vector<std::string> systemLog_;
    std::string printed_;
};

/// An account that a test describes.
class FakeAccount : public qf::UserAccount {
public:
    unsigned userId = 1000;
    std::string home = "/home/someone";
    std::optional<std::string> homeOwner;
    std::string login = "someone";
    std::string temporary = "/tmp";
    std::optional<std::string> cache;
    std::string state = "/home/someone/.local/state";

    unsigned realUserId() override;
    std::string homeDirectory() override;
    std::optional<std::string> otherOwnerOfHome() override;
    std::string loginName() override;
    std::string temporaryDirectory() override;
    std::optional<std::string> cacheDirectory() override;
    std::string stateDirectory() override;
};

/// Counts what is held off.
class CountingInhibitors : public qf::Inhibitors {
public:
    int count = 0;

    std::unique_ptr<qf::Inhibition> inhibitShutdown(const std::string& who,
                                                    const std::string& why) override;
};

/// Standard directories that a test describes; other kinds have no directory.
class FakeSearchPaths : public qf::SearchPaths {
public:
    std::map<std::pair<qf::DirectoryKind, qf::DomainMask>, std::vector<std::string>> lists;

    std::vector<std::string> directories(qf::DirectoryKind kind, qf::DomainMask domain) override;
};
