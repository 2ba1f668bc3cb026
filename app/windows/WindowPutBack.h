#pragma once

#include "app/cli/Undone.h"
#include "app/records/PutBack.h"
#include "app/start/Recording.h"
#include "app/windows/Ending.h"
#include "platform/Windows.h"

#include <atomic>
#include <string>
#include <vector>

namespace start {

/// Puts back what the last uninstall took away, and shows a window meanwhile.
class WindowPutBack final : public records::UndoObserver {
public:
    /// All must outlive this object. Throws qf::Exception if the interface lacks an outlet.
    WindowPutBack(qf::Interface& interface, Recording& recording, Ending& ending);

    /// Returns whether anything is in the Trash that can be put back. Main thread only.
    bool isPossible() const;

    /// Begins on a thread of its own, and terminates the application when all is done. Main thread
    /// only.
    void begin();

    /// Returns whether begin() has been called.
    bool hasBegun() const { return hasBegun_; }

    /// Returns what became of the items, when all is done.
    const cli::Undone& result() const { return result_; }

    void itemBegan(const std::string& path, records::Progress progress) override;

private:
    void putBack();

    qf::Window& mainWindow_;
    qf::Window& window_;
    qf::ProgressIndicator& bar_;
    qf::Label& item_;
    Recording& recording_;
    Ending& ending_;
    std::vector<records::RunRecord> runs_;
    std::atomic<bool> hasBegun_{false};
    cli::Undone result_;
};

} // namespace start
