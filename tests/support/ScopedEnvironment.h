#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

/// Sets or removes an environment variable for a scope; the destructor restores it. Only while no
/// other thread runs.
class ScopedEnvironment {
public:
    ScopedEnvironment(std::string name, const std::optional<std::string>& value)
        : name_(std::move(name)) {
        if (const char* former = std::getenv(name_.c_str())) {
            former_ = former;
        }
        set(value);
    }
    ~ScopedEnvironment() { set(former_); }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
    ScopedEnvironment(ScopedEnvironment&&) = delete;
    ScopedEnvironment& operator=(ScopedEnvironment&&) = delete;

private:
    void set(const std::optional<std::string>& value) const {
        if (value) {
            ::setenv(name_.c_str(), value->c_str(), 1);
        } else {
            ::unsetenv(name_.c_str());
        }
    }

    std::string name_;
    std::optional<std::string> former_;
};
