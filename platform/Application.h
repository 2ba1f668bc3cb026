#pragma once

#include <chrono>
#include <functional>

namespace platform {

class Window;

/// Whether a call onto the main thread returns at once or when the work is done.
enum class Wait { no, untilDone };

/// The running application: its main thread, which is the user-interface thread, and its end.
class Application {
public:
    static constexpr const char* portName = "Application";
    virtual ~Application() = default;

    /// Whether the caller is on the main thread. Any thread.
    virtual bool isMainThread() = 0;

    /// Runs `work` on the main thread when its event loop comes to it, in the order of the calls.
    /// With Wait::untilDone it returns when the work is done; on the main thread itself the work
    /// then runs at once. Once the event loop has ended for good, work is dropped and a waiting
    /// caller on another thread never returns, for the process is ending; nor does the caller whose
    /// work terminated it. What the work throws reaches the waiting caller; when nobody waits it
    /// ends the process, as any uncaught exception does. Any thread.
    virtual void performOnMainThread(std::function<void()> work, Wait wait) = 0;

    /// Takes the next event, waiting at most `deadline` for one, and dispatches it. Main thread
    /// only.
    virtual void handleNextEvent(std::chrono::milliseconds deadline) = 0;

    /// Runs the observers of termination in the order they came, then ends the event loop, so that
    /// the program ends with status 0. It returns, unless it is called while handleNextEvent
    /// dispatches: then it ends the process itself. Main thread only.
    virtual void terminate() = 0;

    /// Has `observer` called once, on the main thread, when the application terminates. The
    /// returned number is what removeTerminationObserver takes. Any thread.
    virtual int addTerminationObserver(std::function<void()> observer) = 0;
    virtual void removeTerminationObserver(int observer) = 0;

    /// The application's main window while it is on the screen, or nothing. It lives as long as the
    /// application. Main thread only.
    virtual Window* mainWindow() = 0;
};

} // namespace platform
