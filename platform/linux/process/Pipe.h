#pragma once

#include "platform/ProcessLauncher.h"
#include "platform/linux/process/RunDescriptors.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

namespace qf::native {

/// A pipe of the system; children do not inherit its ends by default.
class Pipe : public qf::Pipe {
public:
    /// Makes a pipe from its ends. Throws as ProcessLauncher::makePipe does.
    explicit Pipe(PipeEnds ends);

    bool appendAvailable(std::vector<std::byte>& bytes) override;
    void stopWaiting() override;
    void closeReadEnd() override;

    /// Return the ends, for the launcher only, which closes the one that it passed to the child.
    int readEnd() const { return readEnd_.get(); }
    int writeEnd() const { return writeEnd_.get(); }
    void closeWriteEnd() { writeEnd_.reset(); }

private:
    std::size_t readAvailable(std::span<std::byte> buffer);
    void prepareReading();
    void waitUntilReadable();
    void wakeReader();

    RunDescriptor readEnd_;
    RunDescriptor writeEnd_;
    bool prepared_ = false;
    bool enlarged_ = false;
    std::atomic<bool> closed_{false};
    std::atomic<bool> stopsWaiting_{false};
    /// Set before a reader checks the two above for the last time, and until it has waited.
    std::atomic<bool> readerWaits_{false};
    /// Held by a reader while it reads or waits, so that the read end is closed only when nobody
    /// uses it.
    std::mutex reading_;
};

} // namespace qf::native
