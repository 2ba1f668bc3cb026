#pragma once

#include "app/cli/Run.h"
#include "app/cli/RunObserver.h"
#include "app/records/RunRecorder.h"
#include "platform/Inhibitors.h"
#include "platform/Windows.h"

#include <cstddef>
#include <memory>
#include <set>
#include <string>

namespace start {

/// Follows one run: looks at what exists right before its first row, has every step recorded, shows
/// which item it is at, and keeps the machine from being shut down meanwhile.
class RunFollower : public cli::RunObserver {
public:
    /// To be called before the run, on the main thread. All must live until the application has
    /// terminated. Throws qf::Exception if the interface lacks an outlet.
    void follow(cli::Run& run, records::RunRecorder& recorder, qf::Interface& interface);

    void rowBegan(const PlanRow& row) override;
    void itemBegan(const std::string& path) override;
    void itemEnded(const std::string& path, const qf::TrashResult& result) override;
    void rowEnded(const PlanRow& row) override;
    void walkEnded() override;

private:
    void begin();
    void show(const std::string& path);

    cli::Run* run_ = nullptr;
    records::RunRecorder* recorder_ = nullptr;
    qf::CheckBox* removeShared_ = nullptr;
    qf::Label* item_ = nullptr;
    bool hasBegun_ = false;
    std::unique_ptr<qf::Inhibition> inhibition_;
    std::set<std::string> found_; ///< Before the first row, and not begun with.
    std::size_t number_ = 0;
};

} // namespace start
