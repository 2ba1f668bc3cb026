#pragma once

#include "platform/foundation/Exception.h"
#include "tests/support/FileSystemDoubles.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

/// A desktop that knows where applications are.
class KnowingWorkspace : public RecordingWorkspace {
public:
    std::map<std::string, std::string> applications;
    std::vector<std::string> lookups;
    std::optional<platform::Exception> failure;

    std::optional<std::string> applicationPath(const std::string& bundleIdentifier) override {
        lookups.push_back(bundleIdentifier);
        if (failure) {
            throw platform::Exception(*failure);
        }
        const auto found = applications.find(bundleIdentifier);
        return found == applications.end() ? std::nullopt : std::optional(found->second);
    }
};
