#pragma once

#include "platform/support/ApplicationCore.h"

#include <memory>

class QObject;

namespace qf::qt {

/// The application on Qt's event loop.
class Application final : public ApplicationCore {
public:
    /// Makes the calling thread the main thread; the QApplication must exist.
    Application();
    ~Application() override;
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;
    Application(Application&&) = delete;
    Application& operator=(Application&&) = delete;

    /// Runs the event loop until the application terminates and returns the exit status. If the
    /// desktop ends the session instead, the termination observers run all the same. Main thread
    /// only.
    int run();

    /// Releases Qt, so that the QApplication may be destroyed: the event loop has ended for good.
    /// Main thread only.
    void end();

private:
    class Doorbell;

    void ring() override;
    void dispatchNextEvent(std::chrono::milliseconds deadline) override;
    void leaveEventLoop() override;

    std::unique_ptr<QObject> doorbell_;
};

} // namespace qf::qt
