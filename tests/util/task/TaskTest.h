#pragma once

#include "platform/foundation/Value.h"
#include "tests/support/Eventually.h"
#include "tests/support/FileSystemDoubles.h"
#include "tests/support/MainLoop.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/util/task/LogLines.h"
#include "util/task/TaskArguments.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>

/// The real launcher, and a main thread that runs.
class TaskTest : public testing::Test {
protected:
    static void SetUpTestSuite();

    TaskTest() { forgetLogLines(); }
    ~TaskTest() override;

    /// Returns the arguments that make /bin/sh run a script.
    static qf::TaskArguments script(const std::string& text) { return {"-c", text}; }

    /// Returns a script's text that waits until openGate() is called; `name` distinguishes gates.
    std::string gate(const std::string& name = "gate") const;
    void openGate(const std::string& name = "gate") const;

    /// Returns once a child has created that file in the directory.
    bool waitForFile(const std::string& name) const;

    std::string file(const std::string& name) const { return directory_ / name; }
    std::string writeTool(const std::string& name, const std::string& content) const;

    static std::string text(const std::optional<qf::Data>& data);
    /// Returns what one of the test's own descriptors is connected to.
    static std::string ownStream(int number);
    /// Returns how many of this process's children are zombies.
    static int zombies();

    const TemporaryDirectory directory_;
};

/// Treats everything with the extension "app" as a package.
class PackageWorkspace : public RecordingWorkspace {
public:
    static PackageWorkspace& shared();

    std::function<void()> whenAsked = [] {};

    bool isFilePackage(const std::string& path) override {
        whenAsked();
        return path.ends_with(".app");
    }
};

inline const std::string shell = "/bin/sh";
inline const std::string perl = "/usr/bin/perl";
