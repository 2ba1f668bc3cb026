#pragma once

#include "platform/Application.h"
#include "platform/PropertyLists.h"
#include "platform/SystemInformation.h"
#include "tests/support/TestClock.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

/// A machine that a test describes.
class FakeSystemInformation : public qf::SystemInformation {
public:
    std::uint64_t memory = 17179869184;
    std::optional<std::string> executable = "/opt/quillfen/bin/kelvane-test";
    std::optional<std::string> version = "1.2.3";
    std::string operatingSystem = "Version 10.15.7 (Build 19H2)";

    std::string globallyUniqueString() override { return "unique"; }
    std::string operatingSystemVersion() override { return operatingSystem; }
    std::string hostName() override { return {}; }
    long processorCount() override { return 4; }
    std::uint64_t physicalMemory() override { return memory; }
    std::optional<std::string> executablePath() override { return executable; }
    std::optional<std::string> bundleVersion() override { return version; }
};

/// A clock that a test sets.
class FakeClock : public TestClock {
public:
    static constexpr qf::Date noon =
        std::chrono::sys_days(std::chrono::year(2026) / 11 / 16) + std::chrono::hours(12);
    std::atomic<qf::Date> time{noon};
    qf::Date now() override { return time; }
};

/// Preference files that a test describes: one content at whatever path is read.
class FakePropertyLists : public qf::PropertyLists {
public:
    qf::Value content;
    std::vector<std::string> pathsRead;

    qf::Value parse(std::string_view /*bytes*/) override { return {}; }
    std::optional<std::string> xml(const qf::Value& /*value*/) override { return {}; }
    qf::Result<void> writeAtomically(const qf::Value& /*value*/,
                                     const std::string& /*path*/) override {
        return {};
    }
    qf::Value read(const std::string& path) override {
        const std::lock_guard lock(mutex_);
        pathsRead.push_back(path);
        return content;
    }

private:
    std::mutex mutex_;
};

/// An application whose main thread is the one that made it.
class FakeApplication : public qf::Application {
public:
    bool isMainThread() override { return std::this_thread::get_id() == main_; }
    void performOnMainThread(std::function<void()> work, qf::Wait /*wait*/) override { work(); }
    void handleNextEvent(std::chrono::milliseconds /*deadline*/) override {}
    void terminate() override {
        if (observer) {
            observer();
        }
    }
    int addTerminationObserver(std::function<void()> added) override {
        observer = std::move(added);
        return observerNumber;
    }
    void removeTerminationObserver(int removed) override { removedObserver = removed; }
    qf::Window* mainWindow() override { return nullptr; }

    static constexpr int observerNumber = 7;
    std::function<void()> observer;
    std::optional<int> removedObserver;

private:
    std::thread::id main_ = std::this_thread::get_id();
};
