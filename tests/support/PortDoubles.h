#pragma once

#include "platform/Application.h"
#include "platform/Console.h"
#include "platform/SearchPaths.h"
#include "platform/UserAccount.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// Remembers what was said, in order.
class RecordingConsole : public platform::Console {
public:
    void systemLog(std::string_view message) override {
        const std::lock_guard lock(mutex_);
        systemLog_.emplace_back(message);
    }
    void print(std::string_view text) override {
        const std::lock_guard lock(mutex_);
        printed_ += text;
    }

    std::vector<std::string> systemLogLines() const {
        const std::lock_guard lock(mutex_);
        return systemLog_;
    }
    std::string printed() const {
        const std::lock_guard lock(mutex_);
        return printed_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> systemLog_;
    std::string printed_;
};

/// An account that a test describes.
class FakeAccount : public platform::UserAccount {
public:
    unsigned userId = 1000;
    std::string home = "/home/someone";
    std::string login = "someone";
    std::string temporary = "/tmp";
    std::optional<std::string> cache;

    unsigned realUserId() override { return userId; }
    std::string homeDirectory() override { return home; }
    std::string loginName() override { return login; }
    std::string temporaryDirectory() override { return temporary; }
    std::optional<std::string> cacheDirectory() override { return cache; }
};

/// Standard folders that a test describes; a kind that it does not name has no folder.
class FakeSearchPaths : public platform::SearchPaths {
public:
    std::map<std::pair<platform::DirectoryKind, platform::DomainMask>, std::vector<std::string>>
        lists;

    std::vector<std::string> folders(platform::DirectoryKind kind,
                                     platform::DomainMask domain) override {
        const auto found = lists.find({kind, domain});
        return found == lists.end() ? std::vector<std::string>() : found->second;
    }
};
