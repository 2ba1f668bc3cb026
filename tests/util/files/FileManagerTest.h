#pragma once

#include "platform/linux/system/SystemInformation.h"
#include "tests/support/DescribedMachine.h"
#include "tests/support/PausingClock.h"
#include "tests/support/PumpingApplication.h"
#include "util/files/QFFileManager.h"

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

/// A described machine whose time passes only in pauses. The test's thread is not the main thread,
/// unless it becomes so.
class FileManagerTest : public DescribedMachine {
protected:
    using Rests = std::vector<std::chrono::microseconds>;
    using Deadlines = std::vector<std::chrono::milliseconds>;

    FileManagerTest();
    ~FileManagerTest() override;

    void becomeMainThread();

    void refuseTheRight();

    /// Returns whether an operation on another thread ends within that time while the log cannot be
    /// written.
    static bool endsBeforeTheLogIsWritten(const std::function<void()>& operation,
                                          std::chrono::milliseconds patience);

    static constexpr std::chrono::milliseconds longPatience{30'000};
    static constexpr std::chrono::milliseconds shortPatience{100};

    PausingClock pauses;
    PumpingApplication application{pauses};

private:
    qf::native::SystemInformation systemInformation_;
    qf::ScopedService<qf::SystemInformation> systemInformationScope_{systemInformation_};
    qf::ScopedService<qf::Clock> pausesScope_{pauses};
    std::optional<qf::ScopedService<qf::Application>> applicationScope_;
};
