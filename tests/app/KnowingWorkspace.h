#pragma once

#include "tests/support/FileSystemDoubles.h"

#include <exception>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// A desktop that knows where applications are.
class KnowingWorkspace : public RecordingWorkspace {
public:
    std::map<std::string, std::string> applications;
    std::vector<std::string> lookups;
    /// Thrown by every lookup, if any.
    std::exception_ptr failure;

    std::optional<std::string> applicationPath(const std::string& bundleIdentifier) override {
        lookups.push_back(bundleIdentifier);
        if (failure) {
            std::rethrow_exception(failure);
        }
        const auto found = applications.find(bundleIdentifier);
        return found == applications.end() ? std::nullopt : std::optional(found->second);
    }
};
