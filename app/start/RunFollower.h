#pragma once

#include "app/cli/Run.h"
#include "app/cli/RunObserver.h"
#include "platform/Inhibitors.h"
#include "platform/Windows.h"

#include <cstddef>
#include <memory>
#include <set>
#include <string>

namespace start {

/// Follows one run: records what exists right before its first row, shows which item it is at, and
/// keeps the machine from being shut down meanwhile.
class RunFollower : public cli::RunObserver {
public:
    /// To be called before the run, on the main thread. Both must live until the application has
    /// terminated. Throws platform::Exception if the interface lacks an outlet.
    void follow(cli::Run& run, platform::Interface& interface);

    void rowBegan(const PlanRow& row) override;
    void itemBegan(const std::string& path) override;
    void walkEnded() override;

private:
    cli::Run* run_ = nullptr;
    platform::CheckBox* removeShared_ = nullptr;
    platform::Label* item_ = nullptr;
    bool hasBegun_ = false;
    std::unique_ptr<platform::Inhibition> inhibition_;
    std::set<std::string> found_;
    std::size_t number_ = 0;
};

} // namespace start
