#pragma once

#include "app/cli/Undone.h"
#include "app/records/PutBack.h"
#include "app/start/Recording.h"
#include "app/windows/Ending.h"
#include "platform/Windows.h"

#include <atomic>
#include <cstddef>
#include <string>
#include <vector>

namespace start {

/// Puts back what the last uninstall took away, and shows a window meanwhile.
class WindowPutBack final : public records::UndoObserver {
public:
    /// All must outlive this object. Throws platform::Exception if the interface lacks an outlet.
    WindowPutBack(platform::Interface& interface, Recording& recording, Ending& ending);

    /// Returns whether anything is in the Trash that can be put back. Main thread only.
    bool isPossible() const;

    /// Begins on a thread of its own, and terminates the application when all is done. Main thread
    /// only.
    void begin();

    /// Returns whether begin() has been called.
    bool hasBegun() const { return hasBegun_; }

    /// Returns what became of the items, when all is done.
    const cli::Undone& result() const { return result_; }

    void itemBegan(const std::string& path) override;

private:
    void putBack();

    platform::Window& mainWindow_;
    platform::Window& window_;
    platform::ProgressIndicator& bar_;
    platform::Label& item_;
    Recording& recording_;
    Ending& ending_;
    std::vector<records::RunRecord> runs_;
    std::atomic<bool> hasBegun_{false};
    std::size_t number_ = 0;
    cli::Undone result_;
};

} // namespace start
